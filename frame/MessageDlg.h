#pragma once
// Modal messages of the frame. Every message is also written to standard error, so
// that a start without a screen (offscreen platform, no application object) still
// tells what happened; there the caller's unattended answer is taken instead of asking.

#include <QString>
#include <initializer_list>

enum class TModalResult { mrOk, mrAbort, mrIgnore };

// True when a person can answer a dialog: a widget application on a real screen.
bool IsInteractive();

TModalResult MessageDlg(const QString& text, std::initializer_list<TModalResult> buttons,
                        TModalResult unattended);
// One OK button.
void ShowMessage(const QString& text);
