// The application object of window mode.
#pragma once

#include <QCoreApplication>
#include <memory>

/// The settings that must stand before it, then the object itself. Without a display the process ends with
/// one line on standard error and status 1. Main thread.
std::unique_ptr<QCoreApplication> makeWindowApplication(int &argumentCount, char **arguments);
