#pragma once
// The application object: an exception that escapes an event handler ends in the
// standard report (a modal box, also on standard error) and the loop goes on.

#include <QApplication>
#include <QString>
#include <exception>
#include <functional>

class TOrvexApplication : public QApplication {
public:
    TOrvexApplication(int& argc, char** argv);
    ~TOrvexApplication() override;
    bool notify(QObject* receiver, QEvent* event) override;
};

// The standard report of an exception; also used for failures outside the loop.
void ShowException(const std::exception& e);
// The same, with what was going on in front of the exception's own text.
void ShowException(const std::exception& e, const QString& context);
// How many exceptions the standard report has shown since the program started.
int ReportedExceptions();

// Runs the start of the program. An exception on the way ends in the standard
// report, with a German line in front of its own text; the answer is then the exit
// code the program ends with (2, as the frame's own failures at start), else 0.
int StartAbsichern(const std::function<void()>& start);
