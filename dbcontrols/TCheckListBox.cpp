#include "dbcontrols/TCheckListBox.h"

TCheckListBox::TCheckListBox(QWidget* parent) : QListWidget(parent)
{
    setSelectionMode(QAbstractItemView::SingleSelection);
    setUniformItemSizes(true);
    connect(this, &QListWidget::itemChanged, this, [this](QListWidgetItem* item) {
        if (fUpdating)
            return;
        const int index = row(item);
        setCurrentRow(index);
        if (OnClickCheck)
            OnClickCheck(this);
        emit ClickCheck(index);
    });
}

QListWidgetItem* TCheckListBox::NewItem(const QString& text)
{
    auto* item = new QListWidgetItem(text);
    item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable);
    item->setCheckState(Qt::Unchecked);
    return item;
}

QStringList TCheckListBox::Items() const
{
    QStringList items;
    for (int i = 0; i < count(); ++i)
        items << item(i)->text();
    return items;
}

void TCheckListBox::SetItems(const QStringList& items)
{
    ++fUpdating;
    clear();
    for (const QString& text : items)
        addItem(NewItem(text));
    --fUpdating;
}

int TCheckListBox::AddItem(const QString& text)
{
    ++fUpdating;
    addItem(NewItem(text));
    --fUpdating;
    return count() - 1;
}

bool TCheckListBox::Checked(int index) const
{
    const QListWidgetItem* it = item(index);
    return it && it->checkState() == Qt::Checked;
}

void TCheckListBox::SetChecked(int index, bool value)
{
    QListWidgetItem* it = item(index);
    if (!it)
        return;
    ++fUpdating;
    it->setCheckState(value ? Qt::Checked : Qt::Unchecked);
    --fUpdating;
}
