#include "Logging.h"

#include <QLoggingCategory>
#include <QString>

#include <glog/logging.h>

namespace Korvel::App {

namespace {

void LogQtMessage(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type == QtDebugMsg || type == QtInfoMsg)
        LOG(INFO) << text.toStdString();
    else
        LOG(WARNING) << text.toStdString();
}

} // namespace

void StartLogging(const char* program, int verbosity)
{
    FLAGS_logtostderr = true;
    FLAGS_v = verbosity;
    FLAGS_minloglevel = verbosity > 0 ? google::INFO : google::FATAL;
    google::InitGoogleLogging(program);
    if (verbosity > 0) // with what the workers complain of
        QLoggingCategory::setFilterRules(QStringLiteral("korvel.*=true"));
    qInstallMessageHandler(LogQtMessage);
}

} // namespace Korvel::App
