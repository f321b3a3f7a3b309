// The floor of the start-up benchmark: a Qt Widgets program that shows one empty window of
// Corvane's size and does nothing else. It links Qt Widgets only.

#include <QApplication>
#include <QWidget>

int main(int argc, char* argv[]) {
    QApplication app(argc, argv);
    QWidget window;
    window.resize(512, 478);
    window.setWindowTitle(QStringLiteral("Empty"));
    window.show();
    return app.exec();
}
