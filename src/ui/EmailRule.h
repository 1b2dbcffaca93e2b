// What the form takes for an e-mail address.
#pragma once

#include <QString>

namespace UtilityFunctions {

/// Whether `email` is empty or, as a whole, matches
/// `^([0-9a-zA-Z]([\+\-_\.][0-9a-zA-Z]+)*)+@(([0-9a-zA-Z][-\w]*[0-9a-zA-Z]*\.)+[a-zA-Z0-9]{2,17})$`
/// with \w as ICU defines it (https://unicode-org.github.io/icu/userguide/strings/regexp.html). Time is
/// linear in the text. Any thread.
bool isValidEmail(const QString &email);

} // namespace UtilityFunctions
