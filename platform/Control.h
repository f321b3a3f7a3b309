#pragma once

#include <QObject>
#include <QString>

class QWidget;
class Window;

// Window edges a control keeps its distance to when the window is resized.
enum Lock { LockNone = 0, LockLeft = 1, LockTop = 2, LockRight = 4, LockBottom = 8 };

// Base of every window control: a name, a place on the window and an Open event that the
// window raises once, in creation order, when it opens.
class Control : public QObject {
    Q_OBJECT
public:
    ~Control() override;

    QString Name() const { return objectName(); }
    int Left() const { return mLeft; }
    int Top() const { return mTop; }
    int Width() const { return mWidth; }
    int Height() const { return mHeight; }
    int Locks() const { return mLocks; }
    int TabIndex() const { return mTab; }
    // Parked controls stand outside the window: alive, but never shown.
    bool Parked() const;

    bool Enabled() const;
    void SetEnabled(bool enabled);
    bool Visible() const { return mVisible; }
    void SetVisible(bool visible);
    void SetTextSize(int points);
    QWidget* Widget() const { return mWidget; }

signals:
    void Open();

protected:
    explicit Control(QWidget* widget);

private:
    friend class Window;
    QWidget* mWidget;
    int mLeft = 0, mTop = 0, mWidth = 0, mHeight = 0, mLocks = 0, mTab = 0;
    bool mVisible = true;
};
