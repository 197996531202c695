#include "frame/ZELCurrencyEdit.h"

#include "frame/ZELFormat.h"

#include <QKeyEvent>
#include <cmath>

TCurrencyEdit::TCurrencyEdit(QWidget* parent) : QLineEdit(parent)
{
    setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    connect(this, &QLineEdit::textEdited, this, [this] { fTyped = true; });
    UpdateView();
}

double TCurrencyEdit::Value()
{
    Commit();
    return fValue;
}

void TCurrencyEdit::SetValue(double value)
{
    fTyped = false;
    const bool changed = value != fValue;
    fValue = value;
    UpdateView();
    if (changed && OnChange)
        OnChange(this);
}

void TCurrencyEdit::SetDisplayFormat(const QString& value)
{
    fDisplayFormat = value;
    UpdateView();
}

void TCurrencyEdit::SetDecimalPlaces(int value)
{
    fDecimalPlaces = qBound(0, value, 15);
    UpdateView();
}

double TCurrencyEdit::Limited(double value) const
{
    if (fMinValue == 0 && fMaxValue == 0)
        return value;
    return qBound(fMinValue, value, std::max(fMinValue, fMaxValue));
}

QString TCurrencyEdit::FormatValue(double value) const
{
    return fDisplayFormat.isEmpty() ? FloatToStr(value) : FormatFloat(fDisplayFormat, value);
}

void TCurrencyEdit::Commit()
{
    if (!fTyped)
        return;
    fTyped = false;
    QString s = text().trimmed();
    if (!FormatSettings.ThousandSeparator.isNull())
        s.remove(FormatSettings.ThousandSeparator);
    double v = 0;
    try {
        v = StrToFloat(s);
    } catch (const EConvertError&) {
        v = std::nan("");
    }
    if (!std::isfinite(v)) {
        UpdateView();   // not a number: the value stays
        return;
    }
    SetValue(Limited(v));
}

void TCurrencyEdit::UpdateView()
{
    if (fTyped)
        return;
    QString shown;
    if (hasFocus() && !isReadOnly()) {
        shown = std::abs(fValue) < 1e18 ? QString::number(fValue, 'f', fDecimalPlaces) : FloatToStr(fValue);
        shown.replace(u'.', FormatSettings.DecimalSeparator);
    } else {
        shown = FormatValue(fValue);
    }
    if (shown != text())
        setText(shown);
}

void TCurrencyEdit::focusInEvent(QFocusEvent* event)
{
    QLineEdit::focusInEvent(event);
    UpdateView();
    selectAll();
}

void TCurrencyEdit::focusOutEvent(QFocusEvent* event)
{
    QLineEdit::focusOutEvent(event);
    Commit();
    UpdateView();
}

void TCurrencyEdit::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        Commit();
    QLineEdit::keyPressEvent(event);
}
