#include "platform/Window.h"

#include "platform/Control.h"
#include "platform/DragItem.h"
#include "platform/MenuBar.h"

#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QGuiApplication>
#include <QMainWindow>
#include <QMenuBar>
#include <QMimeData>
#include <QtGui/qguiapplication_platform.h>

#include <algorithm>
#include <cstdlib>

#if QT_CONFIG(xcb) && defined(CORVANE_XCB_FLUSH)
#include <xcb/xcb.h>
#endif

namespace {

bool HasFiles(const QMimeData* data) {
    if (!data || !data->hasUrls())
        return false;
    const QList<QUrl> urls = data->urls();
    return std::any_of(urls.begin(), urls.end(), [](const QUrl& url) { return url.isLocalFile(); });
}

} // namespace

class Window::Host final : public QMainWindow {
public:
    explicit Host(Window* owner) : mOwner(owner) {}

    // The window as a whole is the drop target: files let go over a text pane come to the
    // window too, instead of landing in the pane as text.
    bool eventFilter(QObject* watched, QEvent* event) override {
        switch (event->type()) {
        case QEvent::DragEnter:
        case QEvent::DragMove: {
            auto* drag = static_cast<QDragMoveEvent*>(event);
            if (!HasFiles(drag->mimeData()))
                return false;
            if (mOwner->AcceptsDrops())
                drag->acceptProposedAction();
            else
                drag->ignore();
            return true;
        }
        case QEvent::Drop: {
            auto* drop = static_cast<QDropEvent*>(event);
            if (!HasFiles(drop->mimeData()))
                return false;
            if (mOwner->HandleDrop(drop->mimeData()))
                drop->acceptProposedAction();
            else
                drop->ignore();
            return true;
        }
        default:
            return QMainWindow::eventFilter(watched, event);
        }
    }

protected:
    void closeEvent(QCloseEvent* event) override {
        event->accept();
        emit mOwner->Closed();
    }
    void dragEnterEvent(QDragEnterEvent* event) override {
        if (mOwner->AcceptsDrops() && event->mimeData()->hasUrls())
            event->acceptProposedAction();
    }
    void dragMoveEvent(QDragMoveEvent* event) override {
        if (mOwner->AcceptsDrops() && event->mimeData()->hasUrls())
            event->acceptProposedAction();
    }
    void dropEvent(QDropEvent* event) override {
        if (mOwner->HandleDrop(event->mimeData()))
            event->acceptProposedAction();
    }

private:
    Window* mOwner;
};

class Window::Content final : public QWidget {
public:
    explicit Content(Window* owner) : mOwner(owner) {}

protected:
    void resizeEvent(QResizeEvent* event) override {
        QWidget::resizeEvent(event);
        mOwner->Relayout(width(), height());
    }

private:
    Window* mOwner;
};

Window::Window() : mMain(new Host(this)), mContent(new Content(this)) {
    mMain->setCentralWidget(mContent);
    mMain->setAcceptDrops(true);
}

Window::~Window() {
    delete mMain;
}

void Window::Apply(const WindowSettings& settings) {
    mSettings = settings;
    mMain->setWindowTitle(settings.Title);
    mContent->setMinimumSize(settings.MinWidth, settings.MinHeight);
    mContent->setMaximumSize(settings.MaxWidth, settings.MaxHeight);
    mContent->resize(settings.Width, settings.Height);
    mMain->resize(settings.Width,
                  settings.Height + (mMain->menuWidget() ? mMain->menuWidget()->sizeHint().height() : 0));
}

void Window::Place(Control& control, const QString& name, int left, int top, int width, int height, int locks,
                   int tab) {
    control.setObjectName(name);
    control.mLeft = left;
    control.mTop = top;
    control.mWidth = width;
    control.mHeight = height;
    control.mLocks = locks;
    control.mTab = tab;
    QWidget* widget = control.Widget();
    widget->setObjectName(name);
    widget->setParent(mContent);
    widget->installEventFilter(mMain);
    for (QWidget* part : widget->findChildren<QWidget*>())
        part->installEventFilter(mMain);
    control.SetTextSize(11);
    widget->setGeometry(left, top, width, height);
    if (control.Parked())
        widget->setFocusPolicy(Qt::NoFocus);
    widget->setVisible(control.Visible() && !control.Parked());
    mControls.push_back(&control);
    // Tab order follows the design-time TabIndex.
    std::vector<Control*> order;
    for (Control* c : mControls)
        if (!c->Parked())
            order.push_back(c);
    std::stable_sort(order.begin(), order.end(), [](Control* a, Control* b) { return a->TabIndex() < b->TabIndex(); });
    for (std::size_t i = 1; i < order.size(); ++i)
        QWidget::setTabOrder(order[i - 1]->Widget(), order[i]->Widget());
}

void Window::RaiseOpen() {
    for (Control* control : mControls)
        emit control->Open();
}

void Window::SetMenuBar(MenuBar& bar) {
    const int contentHeight = mContent->height();
    mMain->setMenuBar(bar.BuildWidget(mMain));
    mMain->resize(mMain->width(), contentHeight + mMain->menuWidget()->sizeHint().height());
}

void Window::Relayout(int width, int height) {
    const int dx = width - mSettings.Width;
    const int dy = height - mSettings.Height;
    for (Control* c : mControls) {
        if (c->Parked())
            continue;
        int left = c->mLeft, top = c->mTop, w = c->mWidth, h = c->mHeight;
        const int locks = c->mLocks;
        if ((locks & LockLeft) && (locks & LockRight))
            w += dx;
        else if (locks & LockRight)
            left += dx;
        if ((locks & LockTop) && (locks & LockBottom))
            h += dy;
        else if (locks & LockBottom)
            top += dy;
        c->Widget()->setGeometry(left, top, std::max(0, w), std::max(0, h));
    }
}

void Window::Show() {
    mMain->show();
    mMain->raise();
    mMain->activateWindow();
}

void Window::Flush() {
    // The requests go out and the server has done them when this returns, the map among them;
    // no events run here, as they would run inside the window's making.
#if QT_CONFIG(xcb) && defined(CORVANE_XCB_FLUSH)
    // Other platforms may answer for X11 too (offscreen does), without a connection of their own.
    if (QGuiApplication::platformName() != QLatin1String("xcb"))
        return;
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    xcb_connection_t* connection = x11 ? x11->connection() : nullptr;
    // A round trip, not a bare flush: flushed requests were left waiting until the controls were
    // made, and the map with them.
    if (connection)
        std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
#endif
}

void Window::Close() {
    mMain->close();
}

bool Window::IsVisible() const {
    return mMain->isVisible();
}

QString Window::Title() const {
    return mMain->windowTitle();
}

int Window::Width() const {
    return mContent->width();
}

int Window::Height() const {
    return mContent->height();
}

void Window::Resize(int width, int height) {
    const int extra = mMain->height() - mContent->height();
    mMain->resize(width, height + extra);
    mContent->resize(std::clamp(width, mSettings.MinWidth, mSettings.MaxWidth),
                     std::clamp(height, mSettings.MinHeight, mSettings.MaxHeight));
}

void Window::AcceptFileDrop(const QString&) {
    mAcceptDrops = true;
}

bool Window::HandleDrop(const QMimeData* data) {
    if (!mAcceptDrops || !data || !data->hasUrls())
        return false;
    DragItem item(data->urls());
    emit DropObject(item);
    return true;
}
