#pragma once
// Start and end of the process: number and date conventions, the single-instance
// guard, the folders and the configuration file, and the orderly end.

#include "frame/ZELBase.h"

#include <QElapsedTimer>
#include <functional>

// True once the orderly end has begun; never goes back to false.
extern bool ProgrammEndet;
extern TDateTime StartDate;
extern QElapsedTimer HighResCounter;
extern int LanguageId;

// Unit start: runs after the application object exists, since its messages are
// windows. Ends the process on the failures the start sequence refuses.
void ZELInit_Initialize(int argc, char** argv);
// Unit end: frees the programs list and the store, and gives up the instance lock.
void ZELInit_Finalize();

// Ends the process at once with the given exit code.
[[noreturn]] void Halt(int exitCode);

// SIGTERM and SIGINT become a close request delivered on the main thread, the
// same road as the window's title bar.
void InstallCloseRequestHandler(std::function<void()> onCloseRequest);

// Applies the configured hint pause to every tool tip of the application.
void InstallHintHidePause();
