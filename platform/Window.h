#pragma once

#include <QList>
#include <QObject>
#include <QString>

#include <functional>
#include <vector>

class Control;
class DragItem;
class QMainWindow;
class QMimeData;
class MenuBar;

struct WindowSettings {
    int Width = 0, Height = 0;
    int MinWidth = 0, MinHeight = 0;
    int MaxWidth = 0, MaxHeight = 0;
    QString Title;
};

// A document window whose content area holds controls at fixed places; locked edges
// keep their distance on resize. Controls placed outside the content area are parked.
class Window : public QObject {
    Q_OBJECT
public:
    Window();
    ~Window() override;

    void Apply(const WindowSettings& settings);
    void Place(Control& control, const QString& name, int left, int top, int width, int height, int locks, int tab);
    void RaiseOpen();
    void SetMenuBar(MenuBar& bar);

    void Show();
    // Hands what the window system has queued to the display now rather than at the next pass
    // of the event loop, which for a window being made is only once all of it is made.
    void Flush();
    void Close();
    bool IsVisible() const;
    QString Title() const;
    int Width() const;
    int Height() const;
    void Resize(int width, int height);

    // From now on drags with files are taken and raise DropObject.
    void AcceptFileDrop(const QString& fileType);
    bool AcceptsDrops() const { return mAcceptDrops; }
    bool HandleDrop(const QMimeData* data);

    const std::vector<Control*>& Controls() const { return mControls; }
    QMainWindow* Widget() const { return mMain; }

signals:
    void DropObject(DragItem& item);
    void Closed();

private:
    class Host;
    class Content;
    void Relayout(int width, int height);

    QMainWindow* mMain;
    class QWidget* mContent;
    WindowSettings mSettings;
    std::vector<Control*> mControls;
    bool mAcceptDrops = false;
};
