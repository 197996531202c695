#pragma once
// Single-line edit bound to one field. Unfocused it shows the field's display text;
// focused it shows the edit text. A key that would change the text first puts the
// dataset into edit state; when the source does not allow that, the key is dropped.

#include "dbcontrols/TFieldDataLink.h"

#include <QLineEdit>

class TdxDBEdit : public QLineEdit, public TFieldBound {
    Q_OBJECT
public:
    explicit TdxDBEdit(QWidget* parent = nullptr);

    bool ReadOnly() const { return fLink.ReadOnly(); }
    void SetReadOnly(bool value);
    bool Enabled() const { return isEnabled(); }
    void SetEnabled(bool value) { setEnabled(value); }
    QString Text() const { return text(); }

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    void ShowField();
    void UpdateEditable();
};

// True for a key press that would change an edit's text.
bool IsEditingKey(const QKeyEvent* event);
