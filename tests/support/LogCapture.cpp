#include "LogCapture.h"

#include <utility>

namespace Korvel::PDF::Test {

LogCapture::LogCapture(int verbosity) : verbosityBefore(std::exchange(FLAGS_v, verbosity))
{
    google::AddLogSink(this);
}

LogCapture::~LogCapture()
{
    google::RemoveLogSink(this);
    FLAGS_v = verbosityBefore;
}

std::vector<std::string> LogCapture::Texts() const
{
    std::vector<std::string> texts;
    for (const LogRecord& record : records)
        texts.push_back(record.text);
    return texts;
}

void LogCapture::send(google::LogSeverity severity, const char* fullFileName, const char*, int,
                      const google::LogMessageTime&, const char* message, std::size_t length)
{
    records.push_back({severity, fullFileName, std::string(message, length)});
    if (onRecord)
        onRecord(records.back());
}

void SilenceLog(const char* program)
{
    if (!google::IsGoogleLoggingInitialized())
        google::InitGoogleLogging(program);
    FLAGS_stderrthreshold = google::GLOG_FATAL;
    for (const auto severity : {google::GLOG_INFO, google::GLOG_WARNING, google::GLOG_ERROR})
        google::SetLogDestination(severity, "");
}

} // namespace Korvel::PDF::Test
