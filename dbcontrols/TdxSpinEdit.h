#pragma once
// Integer spin edit. Typed, spun and programmatic values stay within
// [MinValue, MaxValue]; OnChange follows every change of the value.

#include <QSpinBox>
#include <functional>

class TdxSpinEdit : public QSpinBox {
    Q_OBJECT
public:
    explicit TdxSpinEdit(QWidget* parent = nullptr);

    int MinValue() const { return minimum(); }
    void SetMinValue(int value) { setMinimum(value); }
    int MaxValue() const { return maximum(); }
    void SetMaxValue(int value) { setMaximum(value); }
    int Value() const { return value(); }
    void SetValue(int v) { setValue(v); }
    int IntValue() const { return value(); }
    void SetIntValue(int v) { setValue(v); }

    std::function<void(QObject* sender)> OnChange;
};
