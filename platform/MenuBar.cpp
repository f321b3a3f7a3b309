#include "platform/MenuBar.h"

#include "platform/LogView.h"

#include <QAction>
#include <QApplication>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QStringList>

#include <algorithm>
#include <iterator>
#include <vector>

namespace {

// One row per menu item; what an item does is its action, whatever kind of item it is.
struct Entry {
    QString menu;
    QString name;
    QString caption;
    QString shortcut;
    enum Kind { Command, Quit, Separator } kind = Command;
    std::function<bool()> action;
};

// "Cmd+N" is the command key on macOS; Qt's Ctrl already means that there and Control elsewhere.
QKeySequence ToKeys(const QString& shortcut) {
    QString keys = shortcut;
    keys.replace(QLatin1String("Cmd+"), QLatin1String("Ctrl+"), Qt::CaseInsensitive);
    return QKeySequence(keys);
}

// One row per edit command: what it does in each kind of text control that can have the focus.
struct EditRow {
    MenuBar::EditCommand command;
    void (*log)(LogView*);
    void (*edit)(QPlainTextEdit*);
    void (*line)(QLineEdit*);
};

using Edit = MenuBar::EditCommand;
const EditRow kEditRows[] = {
    {Edit::Undo, [](LogView* w) { w->undo(); }, [](QPlainTextEdit* w) { w->undo(); }, [](QLineEdit* w) { w->undo(); }},
    {Edit::Cut, [](LogView* w) { w->cut(); }, [](QPlainTextEdit* w) { w->cut(); }, [](QLineEdit* w) { w->cut(); }},
    {Edit::Copy, [](LogView* w) { w->copy(); }, [](QPlainTextEdit* w) { w->copy(); }, [](QLineEdit* w) { w->copy(); }},
    {Edit::Paste, [](LogView* w) { w->paste(); }, [](QPlainTextEdit* w) { w->paste(); },
     [](QLineEdit* w) { w->paste(); }},
    {Edit::Clear, [](LogView* w) { w->del(); }, [](QPlainTextEdit* w) { w->textCursor().removeSelectedText(); },
     [](QLineEdit* w) { w->del(); }},
    {Edit::SelectAll, [](LogView* w) { w->selectAll(); }, [](QPlainTextEdit* w) { w->selectAll(); },
     [](QLineEdit* w) { w->selectAll(); }},
};

void RunEdit(MenuBar::EditCommand command) {
    const auto row = std::find_if(std::begin(kEditRows), std::end(kEditRows),
                                  [command](const EditRow& r) { return r.command == command; });
    if (row == std::end(kEditRows))
        return;
    QWidget* focus = QApplication::focusWidget();
    if (auto* log = qobject_cast<LogView*>(focus))
        row->log(log);
    else if (auto* edit = qobject_cast<QPlainTextEdit*>(focus))
        row->edit(edit);
    else if (auto* line = qobject_cast<QLineEdit*>(focus))
        row->line(line);
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
    d->entries.push_back({menu, name, caption, shortcut, Entry::Command, std::move(action)});
}

void MenuBar::AddEditItem(const QString& menu, const QString& name, const QString& caption, const QString& shortcut,
                          EditCommand command) {
    d->entries.push_back({menu, name, caption, shortcut, Entry::Command, [command] {
                              RunEdit(command);
                              return true;
                          }});
}

void MenuBar::AddQuitItem(const QString& menu, const QString& name, const QString& caption, const QString& shortcut) {
    d->entries.push_back({menu, name, caption, shortcut, Entry::Quit, [] {
                              QCoreApplication::quit();
                              return true;
                          }});
}

void MenuBar::AddSeparator(const QString& menu, const QString& name) {
    d->entries.push_back({menu, name, QStringLiteral("-"), QString(), Entry::Separator, nullptr});
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
    return e && e->action ? e->action() : false;
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
