#pragma once
// Numeric edits. Unfocused they show the value through DisplayFormat (",0.00 h");
// focused they show the plain number with DecimalPlaces for typing. A null value
// shows nothing. MinValue/MaxValue bound what the user enters; both 0 = no limit.

#include "dbcontrols/TFieldDataLink.h"

#include <QLineEdit>
#include <functional>

class TdxCurrencyEdit : public QLineEdit {
    Q_OBJECT
public:
    explicit TdxCurrencyEdit(QWidget* parent = nullptr);

    double Value() const { return fValue; }
    void SetValue(double value);
    bool IsNull() const { return fNull; }
    // Null: the edit shows nothing and Value() is 0.
    void Clear();

    QString DisplayFormat() const { return fDisplayFormat; }
    void SetDisplayFormat(const QString& value);
    int DecimalPlaces() const { return fDecimalPlaces; }
    void SetDecimalPlaces(int value);
    // Whether the user may empty the edit; an emptied edit that is not nullable holds 0.
    bool Nullable() const { return fNullable; }
    void SetNullable(bool value) { fNullable = value; }
    double MinValue() const { return fMinValue; }
    void SetMinValue(double value) { fMinValue = value; }
    double MaxValue() const { return fMaxValue; }
    void SetMaxValue(double value) { fMaxValue = value; }
    bool ReadOnly() const { return fReadOnly; }
    void SetReadOnly(bool value);
    bool Enabled() const { return isEnabled(); }
    void SetEnabled(bool value) { setEnabled(value); }
    QString Text() const { return text(); }
    // Whether each typed number counts at once, without waiting for Enter or the
    // focus leaving; the text stays as typed until then.
    bool ChangeWhileTyping() const { return fChangeWhileTyping; }
    void SetChangeWhileTyping(bool value) { fChangeWhileTyping = value; }

    // A value the user entered clamped to the limits.
    double Limited(double value) const;
    // The text shown unfocused for a value.
    virtual QString FormatValue(double value) const;

    // Every change of the value, the program's own included.
    std::function<void(QObject* sender)> OnChange;

signals:
    void Changed();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

    // Hooks of the bound edit: whether typing may start, and where a committed value goes.
    virtual bool BeginEdit() { return !fReadOnly; }
    virtual void CommitValue(bool null, double value);
    // Stores a value without calling OnChange, and shows it.
    void ShowValue(bool null, double value);
    // Takes the typed text; raises EConvertError for a text that is no number.
    void Commit();
    void UpdateView();
    void SetEditable(bool value) { setReadOnly(!value); }
    void ApplyValue(bool null, double value);

private:
    QString EditText() const;
    void TypedChange();
    bool fChangeWhileTyping = false;
    double fValue = 0;
    bool fNull = true;
    bool fNullable = true;
    bool fReadOnly = false;
    bool fTyped = false;
    int fDecimalPlaces = 2;
    double fMinValue = 0;
    double fMaxValue = 0;
    QString fDisplayFormat = QStringLiteral(",0.00;-,0.00");
};

class TdxDBCurrencyEdit : public TdxCurrencyEdit, public TFieldBound {
    Q_OBJECT
public:
    explicit TdxDBCurrencyEdit(QWidget* parent = nullptr);

    // An empty DisplayFormat leaves the text to the field.
    QString FormatValue(double value) const override;

protected:
    bool BeginEdit() override;
    void CommitValue(bool null, double value) override;

private:
    void ShowField();
    bool fPendingNull = true;
    double fPendingValue = 0;
};
