#include "dbcontrols/TdxDBEdit.h"

#include <QKeyEvent>

bool IsEditingKey(const QKeyEvent* event)
{
    if (event->matches(QKeySequence::Paste) || event->matches(QKeySequence::Cut) ||
        event->matches(QKeySequence::Undo) || event->matches(QKeySequence::Redo))
        return true;
    switch (event->key()) {
    case Qt::Key_Backspace:
    case Qt::Key_Delete:
        return true;
    default:
        break;
    }
    const QString text = event->text();
    return !text.isEmpty() && (text.at(0).isPrint() || text.at(0) == u'\t' || text.at(0) == u'\r')
           && event->key() != Qt::Key_Tab && event->key() != Qt::Key_Escape;
}

TdxDBEdit::TdxDBEdit(QWidget* parent) : QLineEdit(parent)
{
    fLink.OnDataChange = [this] { ShowField(); };
    fLink.OnEditingChange = [this] { UpdateEditable(); };
    fLink.OnUpdateData = [this] { fLink.Field()->SetText(text()); };
    connect(this, &QLineEdit::textEdited, this, [this] { fLink.Modified(true); });
    UpdateEditable();
}

void TdxDBEdit::SetReadOnly(bool value)
{
    fLink.SetReadOnly(value);
    UpdateEditable();
}

void TdxDBEdit::UpdateEditable()
{
    // Read-only until the dataset edits, so that no text change bypasses the link.
    setReadOnly(!(fLink.Editing() && fLink.CanModify()));
}

void TdxDBEdit::ShowField()
{
    // Going into edit state re-shows the row; the same text must keep caret and selection.
    const TField* field = fLink.Field();
    const QString shown = !field ? QString() : hasFocus() ? field->Text() : field->DisplayText();
    if (shown != text()) {
        setText(shown);
        if (!hasFocus())
            setCursorPosition(0);
    }
    UpdateEditable();
}

void TdxDBEdit::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape && fLink.Modified()) {
        fLink.Reset();
        selectAll();
        return;
    }
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        fLink.UpdateRecord();
        selectAll();
        QLineEdit::keyPressEvent(event);
        return;
    }
    if (IsEditingKey(event)) {
        if (!fLink.CanModify() || !fLink.Edit()) {
            event->accept();
            return;
        }
        UpdateEditable();
    }
    QLineEdit::keyPressEvent(event);
}

void TdxDBEdit::focusInEvent(QFocusEvent* event)
{
    QLineEdit::focusInEvent(event);
    if (!fLink.Modified())
        ShowField();
}

void TdxDBEdit::focusOutEvent(QFocusEvent* event)
{
    QLineEdit::focusOutEvent(event);
    fLink.UpdateRecord();
    if (!fLink.Modified())
        ShowField();
}
