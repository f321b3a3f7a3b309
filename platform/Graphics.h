#pragma once

#include <QColor>

class QPainter;

// Paint surface handed to a list's background painter.
class Graphics {
public:
    Graphics(QPainter* painter, int width, int height) : mPainter(painter), mWidth(width), mHeight(height) {}
    QColor ForeColor;
    int Width() const { return mWidth; }
    int Height() const { return mHeight; }
    void FillRect(int x, int y, int width, int height);

private:
    QPainter* mPainter;
    int mWidth, mHeight;
};
