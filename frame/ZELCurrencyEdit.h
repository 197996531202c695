#pragma once
// A numeric edit for the frame's dialogs. Unfocused it shows the value through
// DisplayFormat (",0.000 mm;-,0.000 mm"); focused it shows the plain number with
// DecimalPlaces for typing. MinValue/MaxValue bound what is entered; both 0 = no limit.

#include <QLineEdit>
#include <functional>

class TCurrencyEdit : public QLineEdit {
public:
    explicit TCurrencyEdit(QWidget* parent = nullptr);

    // The value, with a typed text taken first; a text that is no number leaves the
    // value as it was.
    double Value();
    void SetValue(double value);
    const QString& DisplayFormat() const { return fDisplayFormat; }
    void SetDisplayFormat(const QString& value);
    int DecimalPlaces() const { return fDecimalPlaces; }
    void SetDecimalPlaces(int value);
    double MinValue() const { return fMinValue; }
    void SetMinValue(double value) { fMinValue = value; }
    double MaxValue() const { return fMaxValue; }
    void SetMaxValue(double value) { fMaxValue = value; }

    double Limited(double value) const;
    // The text shown unfocused.
    QString FormatValue(double value) const;

    // Every change of the value, the program's own included.
    std::function<void(TCurrencyEdit* sender)> OnChange;

protected:
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void Commit();
    void UpdateView();

    double fValue = 0;
    bool fTyped = false;
    int fDecimalPlaces = 3;
    double fMinValue = 0;
    double fMaxValue = 0;
    QString fDisplayFormat = QStringLiteral(",0.000 mm;-,0.000 mm");
};
