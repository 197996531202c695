#pragma once
// A check box with a caption. OnChange follows every change of Checked, the
// program's own included, as the forms' change handlers expect.

#include <QCheckBox>
#include <functional>

class TdxCheckEdit : public QCheckBox {
    Q_OBJECT
public:
    explicit TdxCheckEdit(QWidget* parent = nullptr);
    explicit TdxCheckEdit(const QString& caption, QWidget* parent = nullptr);

    bool Checked() const { return isChecked(); }
    void SetChecked(bool value) { setChecked(value); }
    QString Caption() const { return text(); }
    void SetCaption(const QString& value) { setText(value); }

    std::function<void(QObject* sender)> OnChange;
};
