#include "platform/MenuBar.h"

#include "platform/LogView.h"

#include <QAction>
#include <QApplication>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QStringList>

#include <vector>

namespace {

struct Entry {
    QString menu;
    QString name;
    QString caption;
    QString shortcut;
    enum Kind { Command, Edit, Quit, Separator } kind = Command;
    std::function<bool()> action;
    MenuBar::EditCommand edit = MenuBar::EditCommand::Undo;
};

// "Cmd+N" is the command key on macOS; Qt's Ctrl already means that there and Control elsewhere.
QKeySequence ToKeys(const QString& shortcut) {
    QString keys = shortcut;
    keys.replace(QLatin1String("Cmd+"), QLatin1String("Ctrl+"), Qt::CaseInsensitive);
    return QKeySequence(keys);
}

void RunEdit(MenuBar::EditCommand command) {
    QWidget* focus = QApplication::focusWidget();
    if (auto* log = qobject_cast<LogView*>(focus)) {
        switch (command) {
        case MenuBar::EditCommand::Undo:
            log->undo();
            break;
        case MenuBar::EditCommand::Cut:
            log->cut();
            break;
        case MenuBar::EditCommand::Copy:
            log->copy();
            break;
        case MenuBar::EditCommand::Paste:
            log->paste();
            break;
        case MenuBar::EditCommand::Clear:
            log->del();
            break;
        case MenuBar::EditCommand::SelectAll:
            log->selectAll();
            break;
        }
    } else if (auto* edit = qobject_cast<QPlainTextEdit*>(focus)) {
        switch (command) {
        case MenuBar::EditCommand::Undo:
            edit->undo();
            break;
        case MenuBar::EditCommand::Cut:
            edit->cut();
            break;
        case MenuBar::EditCommand::Copy:
            edit->copy();
            break;
        case MenuBar::EditCommand::Paste:
            edit->paste();
            break;
        case MenuBar::EditCommand::Clear:
            edit->textCursor().removeSelectedText();
            break;
        case MenuBar::EditCommand::SelectAll:
            edit->selectAll();
            break;
        }
    } else if (auto* line = qobject_cast<QLineEdit*>(focus)) {
        switch (command) {
        case MenuBar::EditCommand::Undo:
            line->undo();
            break;
        case MenuBar::EditCommand::Cut:
            line->cut();
            break;
        case MenuBar::EditCommand::Copy:
            line->copy();
            break;
        case MenuBar::EditCommand::Paste:
            line->paste();
            break;
        case MenuBar::EditCommand::Clear:
            line->del();
            break;
        case MenuBar::EditCommand::SelectAll:
            line->selectAll();
            break;
        }
    }
}

} // namespace

struct MenuBar::Impl {
    QStringList menus;
    QStringList captions;
    std::vector<Entry> entries;

    const Entry* Find(const QString& name) const {
        for (const Entry& e : entries)
            if (e.name == name)
                return &e;
        return nullptr;
    }
};

MenuBar::MenuBar() : d(std::make_unique<Impl>()) {}

MenuBar::~MenuBar() = default;

void MenuBar::AddMenu(const QString& name, const QString& caption) {
    d->menus << name;
    d->captions << caption;
}

void MenuBar::AddItem(const QString& menu, const QString& name, const QString& caption, const QString& shortcut,
                      std::function<bool()> action) {
    d->entries.push_back({menu, name, caption, shortcut, Entry::Command, std::move(action), EditCommand::Undo});
}

void MenuBar::AddEditItem(const QString& menu, const QString& name, const QString& caption, const QString& shortcut,
                          EditCommand command) {
    d->entries.push_back({menu, name, caption, shortcut, Entry::Edit, nullptr, command});
}

void MenuBar::AddQuitItem(const QString& menu, const QString& name, const QString& caption, const QString& shortcut) {
    d->entries.push_back({menu, name, caption, shortcut, Entry::Quit, nullptr, EditCommand::Undo});
}

void MenuBar::AddSeparator(const QString& menu, const QString& name) {
    d->entries.push_back({menu, name, QStringLiteral("-"), QString(), Entry::Separator, nullptr, EditCommand::Undo});
}

QStringList MenuBar::MenuNames() const {
    return d->menus;
}

QStringList MenuBar::ItemNames(const QString& menu) const {
    QStringList names;
    for (const Entry& e : d->entries)
        if (e.menu == menu)
            names << e.name;
    return names;
}

QString MenuBar::Caption(const QString& name) const {
    const int at = int(d->menus.indexOf(name));
    if (at >= 0)
        return d->captions.at(at);
    const Entry* e = d->Find(name);
    return e ? e->caption : QString();
}

QString MenuBar::Shortcut(const QString& name) const {
    const Entry* e = d->Find(name);
    return e ? e->shortcut : QString();
}

bool MenuBar::Trigger(const QString& name) {
    const Entry* e = d->Find(name);
    if (!e)
        return false;
    switch (e->kind) {
    case Entry::Command:
        return e->action ? e->action() : false;
    case Entry::Edit:
        RunEdit(e->edit);
        return true;
    case Entry::Quit:
        QCoreApplication::quit();
        return true;
    case Entry::Separator:
        return false;
    }
    return false;
}

QMenuBar* MenuBar::BuildWidget(QWidget* parent) const {
    auto* bar = new QMenuBar(parent);
    for (qsizetype m = 0; m < d->menus.size(); ++m) {
        QMenu* menu = bar->addMenu(d->captions.at(m));
        menu->setObjectName(d->menus.at(m));
        for (const Entry& e : d->entries) {
            if (e.menu != d->menus.at(m))
                continue;
            if (e.kind == Entry::Separator) {
                menu->addSeparator()->setObjectName(e.name);
                continue;
            }
            QAction* action = menu->addAction(e.caption);
            action->setObjectName(e.name);
            if (!e.shortcut.isEmpty())
                action->setShortcut(ToKeys(e.shortcut));
            const QString name = e.name;
            const MenuBar* self = this;
            if (e.kind == Entry::Quit)
                action->setMenuRole(QAction::QuitRole);
            QObject::connect(action, &QAction::triggered, bar,
                             [self, name] { const_cast<MenuBar*>(self)->Trigger(name); });
        }
    }
    return bar;
}
