#include "app/App.h"

#include "platform/MenuBar.h"

namespace {

void BuildMainMenuBar(MenuBar& bar) {
    bar.AddMenu("FileMenu", "ファイル");
    bar.AddItem("FileMenu", "FileNewWin", "Show Corvane Window", "Cmd+N", [] { return TheApp().FileNewWin_Action(0); });
    bar.AddSeparator("FileMenu", "UntitledSeparator");
    bar.AddQuitItem("FileMenu", "FileQuit", "終了", "Cmd+Q");

    using Edit = MenuBar::EditCommand;
    bar.AddMenu("EditMenu", "編集");
    bar.AddEditItem("EditMenu", "EditUndo", "取り消す", "Cmd+Z", Edit::Undo);
    bar.AddSeparator("EditMenu", "EditSeparator1");
    bar.AddEditItem("EditMenu", "EditCut", "カット", "Cmd+X", Edit::Cut);
    bar.AddEditItem("EditMenu", "EditCopy", "コピー", "Cmd+C", Edit::Copy);
    bar.AddEditItem("EditMenu", "EditPaste", "貼り付け", "Cmd+V", Edit::Paste);
    bar.AddEditItem("EditMenu", "EditClear", "削除", QString(), Edit::Clear);
    bar.AddSeparator("EditMenu", "EditSeparator2");
    bar.AddEditItem("EditMenu", "EditSelectAll", "すべてを選択", "Cmd+A", Edit::SelectAll);
}

} // namespace

MenuBar& MainMenuBar() {
    static MenuBar* bar = [] {
        auto* made = new MenuBar;
        BuildMainMenuBar(*made);
        return made;
    }();
    return *bar;
}
