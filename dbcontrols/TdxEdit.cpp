#include "dbcontrols/TdxEdit.h"

TdxEdit::TdxEdit(QWidget* parent) : QLineEdit(parent)
{
    connect(this, &QLineEdit::textChanged, this, [this] {
        if (OnChange)
            OnChange(this);
    });
}
