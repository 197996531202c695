#include "dbcontrols/TdxCheckEdit.h"

TdxCheckEdit::TdxCheckEdit(QWidget* parent) : TdxCheckEdit(QString(), parent) {}

TdxCheckEdit::TdxCheckEdit(const QString& caption, QWidget* parent) : QCheckBox(caption, parent)
{
    connect(this, &QCheckBox::toggled, this, [this] {
        if (OnChange)
            OnChange(this);
    });
}
