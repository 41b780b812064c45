#include "SessionName.h"

#include <QRandomGenerator>

namespace Korvel {

namespace {

constexpr std::string_view prefix = "pdfconvert-";
constexpr std::size_t randomLetters = 6;
constexpr std::size_t length = prefix.size() + randomLetters;
constexpr std::string_view letters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

bool IsRandom(std::string_view text)
{
    return text.size() == randomLetters &&
           text.find_first_not_of(letters) == std::string_view::npos;
}

} // namespace

std::string NewSessionName()
{
    std::string name(prefix);
    while (name.size() < length)
        name += letters[QRandomGenerator::system()->bounded(quint32(letters.size()))];
    return name;
}

bool IsSessionName(std::string_view name)
{
    return name.substr(0, prefix.size()) == prefix && IsRandom(name.substr(prefix.size()));
}

std::string HiddenPrefix(const std::string& session)
{
    return '.' + session + '-';
}

bool IsHiddenName(std::string_view name)
{
    constexpr std::size_t dash = 1 + length;
    return name.size() > dash && name.front() == '.' && IsSessionName(name.substr(1, length)) &&
           name[dash] == '-' && IsRandom(name.substr(dash + 1));
}

} // namespace Korvel
