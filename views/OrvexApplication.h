#pragma once
// The application object: an exception that escapes an event handler ends in the
// standard report (a modal box, also on standard error) and the loop goes on.

#include <QApplication>
#include <exception>

class TOrvexApplication : public QApplication {
public:
    TOrvexApplication(int& argc, char** argv);
    ~TOrvexApplication() override;
    bool notify(QObject* receiver, QEvent* event) override;
};

// The standard report of an exception; also used for failures outside the loop.
void ShowException(const std::exception& e);
