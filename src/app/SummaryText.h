#pragma once

#include <QJsonObject>
#include <QString>

namespace Korvel::App {

struct Summary;

/** What to print of a summary: numbers in a column, and behind them what they count. */
QString ToText(const Summary& summary);

/** The same in a few words, without line feed. */
QString ToLine(const Summary& summary);

/** The same for programs, as docs/command.md describes it. */
QJsonObject ToJson(const Summary& summary);

} // namespace Korvel::App
