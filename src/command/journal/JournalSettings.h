#pragma once

#include <string>

#include <QJsonObject>

namespace Korvel::App {

struct OutputOptions;
struct PageOptions;

/** What decides which files there are in the end, and what is in them, as a journal has it. */
QJsonObject JournalSettings(const OutputOptions& output, const PageOptions& pages);

/** What differs of the settings that both have, for the user; empty when nothing does. */
std::string Differences(const QJsonObject& before, const QJsonObject& now);

} // namespace Korvel::App
