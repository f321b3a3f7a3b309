#include "platform/Graphics.h"

#include <QPainter>

void Graphics::FillRect(int x, int y, int width, int height) {
    if (mPainter)
        mPainter->fillRect(x, y, width, height, ForeColor);
}
