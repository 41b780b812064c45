#pragma once

#include <string>

namespace Korvel {

/** A random name for a session folder: "pdfconvert-" and six letters or digits. */
std::string NewSessionName();

/** Whether session folders have names like this one. */
bool IsSessionName(const std::string& name);

/** What the names of hidden files begin with that belong to the session of this name. */
std::string HiddenPrefix(const std::string& session);

} // namespace Korvel
