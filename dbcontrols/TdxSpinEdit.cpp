#include "dbcontrols/TdxSpinEdit.h"

#include <limits>

TdxSpinEdit::TdxSpinEdit(QWidget* parent) : QSpinBox(parent)
{
    // Without limits set, any integer.
    setRange(std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
    setValue(0);
    setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    connect(this, &QSpinBox::valueChanged, this, [this] {
        if (OnChange)
            OnChange(this);
    });
}
