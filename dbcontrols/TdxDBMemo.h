#pragma once
// Multi-line edit bound to a text field. It stays enabled for reading, selecting and
// copying; typing goes through the data link, so a source without AutoEdit keeps
// the dataset in browse state and the memo unchanged.

#include "dbcontrols/TFieldDataLink.h"

#include <QPlainTextEdit>

class TdxDBMemo : public QPlainTextEdit, public TFieldBound {
    Q_OBJECT
public:
    explicit TdxDBMemo(QWidget* parent = nullptr);

    bool ReadOnly() const { return fLink.ReadOnly(); }
    void SetReadOnly(bool value);
    QString Text() const { return toPlainText(); }

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void insertFromMimeData(const QMimeData* source) override;

private:
    void ShowField();
    void UpdateEditable();
    bool fShowing = false;
};
