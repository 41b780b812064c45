#pragma once

#include <functional>
#include <string>
#include <vector>

#include <glog/logging.h>

namespace Korvel::PDF::Test {

/** A record as it reached the log. */
struct LogRecord
{
    google::LogSeverity severity;
    /** The full name of the source file, as it was compiled. */
    std::string file;
    std::string text;
};

/** Collects the log's records, written at the given verbosity, as long as it lives. */
class LogCapture : private google::LogSink
{
public:
    explicit LogCapture(int verbosity = 30);
    ~LogCapture() override;

    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /** The texts alone. */
    std::vector<std::string> Texts() const;

    std::vector<LogRecord> records;

    /** Called for each record, if set; must not log. */
    std::function<void(const LogRecord&)> onRecord;

private:
    using google::LogSink::send;
    void send(google::LogSeverity severity, const char* fullFileName, const char* baseFileName,
              int line, const google::LogMessageTime& time, const char* message,
              std::size_t length) override;

    const int verbosityBefore;
};

/** Sends the log to the sinks alone, not to standard error, until the program ends. */
void SilenceLog(const char* program);

} // namespace Korvel::PDF::Test
