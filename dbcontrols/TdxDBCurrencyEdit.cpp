#include "dbcontrols/TdxDBCurrencyEdit.h"
#include "dbcontrols/TdxDBEdit.h"

#include "frame/ZELFormat.h"

#include <QKeyEvent>
#include <cmath>

TdxCurrencyEdit::TdxCurrencyEdit(QWidget* parent) : QLineEdit(parent)
{
    setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    connect(this, &QLineEdit::textEdited, this, [this] {
        fTyped = true;
        if (fChangeWhileTyping)
            TypedChange();
    });
}

void TdxCurrencyEdit::TypedChange()
{
    QString s = text().trimmed();
    if (!FormatSettings.ThousandSeparator.isNull())
        s.remove(FormatSettings.ThousandSeparator);
    double v;
    try {
        v = StrToFloat(s);
    } catch (const EConvertError&) {
        return;   // half a number ("-", "1,"): wait for more
    }
    v = Limited(v);
    if (!fNull && v == fValue)
        return;
    fNull = false;
    fValue = v;
    if (OnChange)
        OnChange(this);
    emit Changed();
}

void TdxCurrencyEdit::SetValue(double value)
{
    ApplyValue(false, value);
}

void TdxCurrencyEdit::Clear()
{
    ApplyValue(true, 0);
}

void TdxCurrencyEdit::ApplyValue(bool null, double value)
{
    const bool same = null == fNull && (null || value == fValue);
    ShowValue(null, value);
    if (!same) {
        if (OnChange)
            OnChange(this);
        emit Changed();
    }
}

void TdxCurrencyEdit::ShowValue(bool null, double value)
{
    fNull = null;
    fValue = null ? 0 : value;
    fTyped = false;
    UpdateView();
}

void TdxCurrencyEdit::SetDisplayFormat(const QString& value)
{
    fDisplayFormat = value;
    UpdateView();
}

void TdxCurrencyEdit::SetDecimalPlaces(int value)
{
    fDecimalPlaces = qBound(0, value, 15);
    UpdateView();
}

void TdxCurrencyEdit::SetReadOnly(bool value)
{
    fReadOnly = value;
    setReadOnly(value);
}

double TdxCurrencyEdit::Limited(double value) const
{
    if (fMinValue == 0 && fMaxValue == 0)
        return value;
    return qBound(fMinValue, value, fMaxValue);
}

QString TdxCurrencyEdit::FormatValue(double value) const
{
    return fDisplayFormat.isEmpty() ? FloatToStr(value) : FormatFloat(fDisplayFormat, value);
}

QString TdxCurrencyEdit::EditText() const
{
    // Hundreds of digits help nobody: a giant value is typed over in exponent form.
    if (!(std::abs(fValue) < 1e18))
        return FloatToStr(fValue);
    QString s = QString::number(fValue, 'f', fDecimalPlaces);
    s.replace(u'.', FormatSettings.DecimalSeparator);
    return s;
}

void TdxCurrencyEdit::UpdateView()
{
    if (fTyped)
        return;
    const QString shown = fNull ? QString() : hasFocus() && !isReadOnly() ? EditText() : FormatValue(fValue);
    if (shown != text()) {
        setText(shown);
        if (!hasFocus())
            setCursorPosition(0);
    }
}

void TdxCurrencyEdit::CommitValue(bool null, double value)
{
    ApplyValue(null, value);
}

void TdxCurrencyEdit::Commit()
{
    if (!fTyped)
        return;
    QString s = text().trimmed();
    if (!FormatSettings.ThousandSeparator.isNull())
        s.remove(FormatSettings.ThousandSeparator);
    fTyped = false;
    if (s.isEmpty()) {
        if (fNullable)
            CommitValue(true, 0);
        else
            CommitValue(false, 0);
        return;
    }
    double v;
    try {
        v = StrToFloat(s);
    } catch (const EConvertError&) {
        fTyped = true;
        throw;
    }
    CommitValue(false, Limited(v));
}

void TdxCurrencyEdit::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape && fTyped) {
        fTyped = false;
        UpdateView();
        selectAll();
        return;
    }
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        Commit();
        UpdateView();
        selectAll();
        QLineEdit::keyPressEvent(event);
        return;
    }
    if (IsEditingKey(event) && !BeginEdit()) {
        event->accept();
        return;
    }
    QLineEdit::keyPressEvent(event);
}

void TdxCurrencyEdit::focusInEvent(QFocusEvent* event)
{
    QLineEdit::focusInEvent(event);
    UpdateView();
}

void TdxCurrencyEdit::focusOutEvent(QFocusEvent* event)
{
    QLineEdit::focusOutEvent(event);
    Commit();
    UpdateView();
}

// ---- bound ----

TdxDBCurrencyEdit::TdxDBCurrencyEdit(QWidget* parent) : TdxCurrencyEdit(parent)
{
    fLink.OnDataChange = [this] { ShowField(); };
    fLink.OnEditingChange = [this] { SetEditable(!ReadOnly() && fLink.Editing() && fLink.CanModify()); };
    fLink.OnUpdateData = [this] {
        if (fPendingNull)
            fLink.Field()->Clear();
        else
            fLink.Field()->SetAsFloat(fPendingValue);
    };
    SetEditable(false);
}

QString TdxDBCurrencyEdit::FormatValue(double value) const
{
    if (DisplayFormat().isEmpty() && fLink.Field())
        return fLink.Field()->DisplayText();
    return TdxCurrencyEdit::FormatValue(value);
}

void TdxDBCurrencyEdit::ShowField()
{
    const TField* field = fLink.Field();
    if (!field || field->IsNull())
        ShowValue(true, 0);
    else
        ShowValue(false, field->AsFloat());
}

bool TdxDBCurrencyEdit::BeginEdit()
{
    if (ReadOnly() || !fLink.CanModify() || !fLink.Edit())
        return false;
    SetEditable(true);
    return true;
}

void TdxDBCurrencyEdit::CommitValue(bool null, double value)
{
    if (!fLink.Editing())
        return;
    fPendingNull = null;
    fPendingValue = value;
    fLink.Modified(true);
    fLink.UpdateRecord();
}
