// What hides the user's name in a line of the log.
#pragma once

#include <QString>

/// `message` with every "/Users/<name>/" and "/home/<name>/" turned into "/Users/[USER]/" and
/// "/home/[USER]/". Takes time linear in the text.
QString maskedUserNames(const QString &message);
