#pragma once

#include <QJsonObject>
#include <QString>

namespace Korvel::App {

struct Totals;

/** The totals for people: numbers in a column, and behind them what they count. */
QString ToText(const Totals& totals);

/** The totals in a few words, without line feed. */
QString ToLine(const Totals& totals);

/** The totals for programs, as docs/command.md describes it. */
QJsonObject ToJson(const Totals& totals);

} // namespace Korvel::App
