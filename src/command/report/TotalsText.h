#pragma once

#include <QJsonObject>
#include <QString>

namespace Korvel::App {

struct Totals;
struct Verified;

/** The totals for people: numbers in a column, and behind them what they count. */
QString ToText(const Totals& totals);

/** What was found of the files, likewise. */
QString ToText(const Verified& verified);

/** The totals in a few words, without line feed. */
QString ToLine(const Totals& totals);

/** The totals for programs, as docs/command.md describes it. */
QJsonObject ToJson(const Totals& totals);

} // namespace Korvel::App
