#pragma once

#include <QString>

#include <functional>
#include <memory>

class QMenuBar;

// A menu bar built by name: menus first, then their items. The standard edit commands act
// on whichever text control has the focus.
class MenuBar {
public:
    enum class EditCommand { Undo, Cut, Copy, Paste, Clear, SelectAll };

    MenuBar();
    ~MenuBar();

    void AddMenu(const QString& name, const QString& caption);
    void AddItem(const QString& menu, const QString& name, const QString& caption, const QString& shortcut,
                 std::function<bool()> action);
    void AddEditItem(const QString& menu, const QString& name, const QString& caption, const QString& shortcut,
                     EditCommand command);
    void AddQuitItem(const QString& menu, const QString& name, const QString& caption, const QString& shortcut);
    void AddSeparator(const QString& menu, const QString& name);

    QStringList MenuNames() const;
    QStringList ItemNames(const QString& menu) const;
    QString Caption(const QString& name) const;
    QString Shortcut(const QString& name) const;
    bool Trigger(const QString& name);

    // A menu bar widget for a window (or, with no parent, the application's own on macOS).
    QMenuBar* BuildWidget(class QWidget* parent) const;

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};
