// Shows the records of the wrappers and of the services: logging FOLDER

#include "LocalFileSystem.h"
#include "SessionFolder.h"
#include "TempFileWrapper.h"
#include "UpperCaseConverter.h"
#include "UuidFileNameGenerator.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <glog/logging.h>

using Korvel::ioPath;
using namespace Korvel::PDF;
using namespace Korvel::PDF::Converter;

namespace {

//! [sink]
Q_LOGGING_CATEGORY(wrappersLog, "korvel.wrappers")

/** Hands the wrappers' records to Qt's logging. May be called on any thread. */
class ToQt : public google::LogSink
{
public:
    void send(google::LogSeverity severity, const char*, const char* file, int line,
              const google::LogMessageTime&, const char* text, std::size_t length) override
    {
        const QMessageLogger logger(file, line, nullptr, wrappersLog().categoryName());
        const QString record = QString::fromUtf8(text, int(length));
        if (severity >= google::GLOG_WARNING)
            logger.warning().noquote() << record;
        else
            logger.info().noquote() << record;
    }
};
//! [sink]

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    if (argc != 2)
        return 2;

    //! [set up]
    FLAGS_logtostderr = true; // no files in /tmp, which others could read
    FLAGS_v = 30;             // what the wrappers do; 0, the default, shows their errors alone
    google::InitGoogleLogging(argv[0]);
    QLoggingCategory::setFilterRules(QStringLiteral("korvel.services.debug=true"));
    //! [set up]

    //! [add]
    ToQt sink;
    google::AddLogSink(&sink); // besides standard error
    //! [add]

    std::string error;
    const auto names = std::make_shared<UuidFileNameGenerator>();
    const auto files = std::make_shared<LocalFileSystem>(SessionFolder::Create(argv[1], error));
    const auto converter = std::make_shared<UpperCaseConverter>();
    const TempFileWrapper wrapper(names, converter, files); // says where its folder is
    Q_EMIT converter->Finished(QStringLiteral("nobody's task"), QString()); // an error
    files->RemoveFolder(ioPath("/no/such/folder")); // a warning of the services
    google::RemoveLogSink(&sink);
}
