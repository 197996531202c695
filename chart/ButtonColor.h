#pragma once
// A button that shows a colour and lets the user pick another.

#include <QPushButton>
#include <functional>

class TButtonColor : public QPushButton {
public:
    explicit TButtonColor(const QString& caption, QWidget* parent = nullptr);
    QColor Color() const { return fColor; }
    // Shows c; with notify, OnChange hears of it as if the user had picked it.
    void SetColor(const QColor& c, bool notify = false);
    std::function<void(const QColor&)> OnChange;

private:
    void Pick();
    QColor fColor;
};
