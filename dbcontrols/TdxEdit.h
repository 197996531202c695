#pragma once
// A plain single-line edit. OnChange follows every change of the text, the
// program's own included, as the forms' change handlers expect.

#include <QLineEdit>
#include <functional>

class TdxEdit : public QLineEdit {
    Q_OBJECT
public:
    explicit TdxEdit(QWidget* parent = nullptr);

    QString Text() const { return text(); }
    void SetText(const QString& value) { setText(value); }

    std::function<void(QObject* sender)> OnChange;
};
