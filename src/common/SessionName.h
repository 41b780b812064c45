#pragma once

#include <string>
#include <string_view>

namespace Korvel {

/** A random name for a session folder: "pdfconvert-" and six letters or digits. */
std::string NewSessionName();

/** Whether session folders have names like this one. */
bool IsSessionName(std::string_view name);

/** What the names of hidden files begin with that belong to the session of this name. */
std::string HiddenPrefix(const std::string& session);

/** Whether hidden files of any session have names like this one. */
bool IsHiddenName(std::string_view name);

} // namespace Korvel
