#include "dbcontrols/TdxDBMemo.h"
#include "dbcontrols/TdxDBEdit.h"

#include <QKeyEvent>
#include <QTextCursor>

TdxDBMemo::TdxDBMemo(QWidget* parent) : QPlainTextEdit(parent)
{
    fLink.OnDataChange = [this] { ShowField(); };
    fLink.OnEditingChange = [this] { UpdateEditable(); };
    fLink.OnUpdateData = [this] { fLink.Field()->SetAsString(toPlainText()); };
    connect(this, &QPlainTextEdit::textChanged, this, [this] {
        if (!fShowing)
            fLink.Modified(true);
    });
    UpdateEditable();
}

void TdxDBMemo::SetReadOnly(bool value)
{
    fLink.SetReadOnly(value);
    UpdateEditable();
}

void TdxDBMemo::UpdateEditable()
{
    // Switching the interaction flags must not move the caret the user placed.
    const int position = textCursor().position();
    setReadOnly(!(fLink.Editing() && fLink.CanModify()));
    // Read-only must not hide the text from selection and copying.
    setTextInteractionFlags(isReadOnly() ? Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard
                                         : Qt::TextEditorInteraction);
    QTextCursor cursor = textCursor();
    cursor.setPosition(qMin(position, document()->characterCount() - 1));
    setTextCursor(cursor);
}

void TdxDBMemo::ShowField()
{
    fShowing = true;
    // The memo shows the text itself; a memo field's display text is only a marker.
    // Going into edit state re-shows the row; the same text must keep caret and selection.
    const TField* field = fLink.Field();
    const QString text = field ? field->AsString() : QString();
    if (text != toPlainText())
        setPlainText(text);
    fShowing = false;
    UpdateEditable();
}

void TdxDBMemo::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape && fLink.Modified()) {
        fLink.Reset();
        return;
    }
    if (IsEditingKey(event) || event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        if (!fLink.CanModify() || !fLink.Edit()) {
            event->accept();
            return;
        }
        UpdateEditable();
    }
    QPlainTextEdit::keyPressEvent(event);
}

void TdxDBMemo::insertFromMimeData(const QMimeData* source)
{
    if (!fLink.CanModify() || !fLink.Edit())
        return;
    UpdateEditable();
    QPlainTextEdit::insertFromMimeData(source);
}

void TdxDBMemo::focusOutEvent(QFocusEvent* event)
{
    QPlainTextEdit::focusOutEvent(event);
    fLink.UpdateRecord();
}
