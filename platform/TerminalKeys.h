#pragma once

#include <QChar>
#include <QString>
#include <Qt>

// Where a key pressed in the log pane goes. The pane sees each key before the menu's shortcuts
// do; it keeps the keys that type, and during a session Ctrl+letter, which the board gets as its
// control character. Ctrl+Shift+C and Ctrl+Shift+V copy and paste, since Ctrl+C is the board's.
namespace TerminalKeys {

enum class Route {
    Copy,
    Paste,
    // Its control character goes to the board.
    Board,
    // The pane takes it: it types, or its handler sends it.
    Pane,
    // The menu's shortcuts have it first.
    Menu,
};

Route RouteOf(int key, Qt::KeyboardModifiers modifiers, const QString& text, bool session);

// Ctrl+letter without Alt (on macOS the Control key, which Qt calls Meta); never a clipboard key.
bool IsControlKey(int key, Qt::KeyboardModifiers modifiers);
// What Ctrl+key sends: Ctrl+A is SOH, Ctrl+C is ETX, whatever text the platform gave the key.
QChar ControlCharacter(int key);
// Text the pane inserts as typed: not empty, and no control character in it.
bool IsTypedText(const QString& text);

} // namespace TerminalKeys
