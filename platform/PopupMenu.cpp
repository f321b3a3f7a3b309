#include "platform/PopupMenu.h"

#include <QComboBox>
#include <QListView>
#include <QPointer>
#include <QProxyStyle>
#include <QSignalBlocker>
#include <QStringListModel>

namespace {

// Asks for the drop-down form of the list: the form that opens with the current row over the
// control measures every row first, a tenth of a second at tens of thousands of presets.
class DropDownListStyle final : public QProxyStyle {
public:
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* returned) const override {
        if (hint == SH_ComboBox_Popup)
            return 0;
        return QProxyStyle::styleHint(hint, option, widget, returned);
    }
};

QStyle* PopupStyle() {
    static QPointer<QStyle> style;
    if (!style)
        style = new DropDownListStyle;
    return style;
}

} // namespace

PopupMenu::PopupMenu() : Control(new QComboBox), mCombo(static_cast<QComboBox*>(Widget())) {
    mCombo->setStyle(PopupStyle());
    // Long preset lists must open at once: rows of one height need no measuring. The rows are
    // plain strings: tens of thousands of them cost a list of texts, not an item object each.
    auto* view = new QListView(mCombo);
    view->setUniformItemSizes(true);
    mCombo->setModel(new QStringListModel(mCombo));
    mCombo->setView(view);
    mCombo->setMaxVisibleItems(30);
    mCombo->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    connect(mCombo, &QComboBox::currentIndexChanged, this, &PopupMenu::Change);
}

void PopupMenu::AddRow(const QString& text) {
    AddRows(QStringList{text});
}

void PopupMenu::AddRows(const QStringList& texts) {
    if (texts.isEmpty())
        return;
    // QComboBox selects row 0 by itself on the first insert; a popup here never does.
    const QSignalBlocker blocker(mCombo);
    const int before = mCombo->currentIndex();
    auto* model = static_cast<QStringListModel*>(mCombo->model());
    if (model->rowCount() == 0) {
        model->setStringList(texts);
    } else {
        const int at = model->rowCount();
        model->insertRows(at, int(texts.size()));
        for (int i = 0; i < texts.size(); ++i)
            model->setData(model->index(at + i), texts.at(i));
    }
    if (mCombo->currentIndex() != before)
        mCombo->setCurrentIndex(before);
}

void PopupMenu::DeleteAllRows() {
    const QSignalBlocker blocker(mCombo);
    mCombo->clear();
}

int PopupMenu::ListCount() const {
    return mCombo->count();
}

int PopupMenu::ListIndex() const {
    return mCombo->currentIndex();
}

void PopupMenu::SetListIndex(int index) {
    if (index < -1 || index >= mCombo->count())
        return;
    mCombo->setCurrentIndex(index);
}

QString PopupMenu::List(int row) const {
    return mCombo->itemText(row);
}

QString PopupMenu::Text() const {
    return mCombo->currentIndex() < 0 ? QString() : mCombo->currentText();
}
