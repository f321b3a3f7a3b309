#include "platform/TerminalKeys.h"

#include <algorithm>

namespace TerminalKeys {

namespace {

#ifdef Q_OS_MACOS
// Cmd is Qt's Control there and stays the menu's; the Control key itself is Meta.
constexpr Qt::KeyboardModifier kTerminalControl = Qt::MetaModifier;
#else
constexpr Qt::KeyboardModifier kTerminalControl = Qt::ControlModifier;
#endif

constexpr Qt::KeyboardModifiers kChordKeys = Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier;

// Ctrl+Shift+C and Ctrl+Shift+V.
bool IsClipboardKey(int key, Qt::KeyboardModifiers modifiers) {
#ifdef Q_OS_MACOS
    Q_UNUSED(key);
    Q_UNUSED(modifiers);
    return false;
#else
    const Qt::KeyboardModifiers mods = modifiers & (kChordKeys | Qt::ShiftModifier);
    return mods == (Qt::ControlModifier | Qt::ShiftModifier) && (key == Qt::Key_C || key == Qt::Key_V);
#endif
}

} // namespace

Route RouteOf(int key, Qt::KeyboardModifiers modifiers, const QString& text, bool session) {
    if (IsClipboardKey(key, modifiers))
        return key == Qt::Key_C ? Route::Copy : Route::Paste;
    if (session && IsControlKey(key, modifiers))
        return Route::Board;
    if (!(modifiers & kChordKeys) && !text.isEmpty())
        return Route::Pane;
    return Route::Menu;
}

bool IsControlKey(int key, Qt::KeyboardModifiers modifiers) {
    if (IsClipboardKey(key, modifiers))
        return false;
    return key >= Qt::Key_A && key <= Qt::Key_Z && (modifiers & kTerminalControl) && !(modifiers & Qt::AltModifier);
}

QChar ControlCharacter(int key) {
    return QChar(key - Qt::Key_A + 1);
}

bool IsTypedText(const QString& text) {
    if (text.isEmpty())
        return false;
    return std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() >= 0x20 && c.unicode() != 0x7F; });
}

} // namespace TerminalKeys
