#pragma once

#include "AbstractConverter.h"

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace Korvel::PDF::Test {

/** One of a converter's eight signals, emitted with fixed arguments behind the source. */
struct ConverterSignal
{
    /** The signal's name; the two Finished are FinishedFile and FinishedFiles. */
    std::string name;
    QByteArray signature;
    void (*emitFrom)(Converter::AbstractConverter& sender, const QString& source);
    /** Whether `receiver` has it connected to the same signal of its own; disconnects it then. */
    bool (*disconnectRelay)(const Converter::AbstractConverter& sender,
                            const Converter::AbstractConverter& receiver);
    /** How the fixed arguments read in a received line. */
    std::string arguments;
    bool endsTask;

    /** What ReceiveAll reports for it: name, source and arguments, separated by blanks. */
    std::string Line(const QString& source) const;
};

/** Lets test names and messages show the signal's name. */
std::ostream& operator<<(std::ostream& stream, const ConverterSignal& signal);

/** The eight, in the order in which wrappers connect to them. */
const std::vector<ConverterSignal>& ConverterSignals();

/** Calls `receive` with one line for each signal of `sender`, as long as `context` lives. */
void ReceiveAll(const Converter::AbstractConverter& sender, const QObject* context,
                const std::function<void(const std::string& line)>& receive);

} // namespace Korvel::PDF::Test
