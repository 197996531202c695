#pragma once
// A list of texts with a check box each. OnClickCheck tells of a box the user
// toggled (mouse or space key); the program's own SetChecked stays silent, so a
// handler can set other boxes without calling itself.

#include <QListWidget>
#include <QStringList>
#include <functional>

class TCheckListBox : public QListWidget {
    Q_OBJECT
public:
    explicit TCheckListBox(QWidget* parent = nullptr);

    QStringList Items() const;
    // Replaces all items, unchecked.
    void SetItems(const QStringList& items);
    int AddItem(const QString& text);
    int Count() const { return count(); }
    bool Checked(int index) const;
    void SetChecked(int index, bool value);
    // -1 when no item is current.
    int ItemIndex() const { return currentRow(); }
    void SetItemIndex(int value) { setCurrentRow(value); }

    std::function<void(QObject* sender)> OnClickCheck;

signals:
    void ClickCheck(int index);

private:
    QListWidgetItem* NewItem(const QString& text);
    // Set while the program changes items, so that itemChanged is not taken for a click.
    int fUpdating = 0;
};
