#include "SessionName.h"

#include <string_view>

#include <QRandomGenerator>

namespace Korvel {

namespace {

constexpr std::string_view prefix = "pdfconvert-";
constexpr std::size_t length = prefix.size() + 6;
constexpr std::string_view letters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

} // namespace

std::string NewSessionName()
{
    std::string name(prefix);
    while (name.size() < length)
        name += letters[QRandomGenerator::system()->bounded(quint32(letters.size()))];
    return name;
}

bool IsSessionName(const std::string& name)
{
    return name.size() == length && name.compare(0, prefix.size(), prefix) == 0 &&
           name.find_first_not_of(letters, prefix.size()) == std::string::npos;
}

std::string HiddenPrefix(const std::string& session)
{
    return '.' + session + '-';
}

} // namespace Korvel
