#pragma once

#include <QJsonObject>
#include <QString>

namespace Korvel::App {

struct Totals;

/** What to print of a summary: numbers in a column, and behind them what they count. */
QString ToText(const Totals& summary);

/** The same in a few words, without line feed. */
QString ToLine(const Totals& summary);

/** The same for programs, as docs/command.md describes it. */
QJsonObject ToJson(const Totals& summary);

} // namespace Korvel::App
