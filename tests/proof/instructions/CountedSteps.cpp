// Steps that are to stay quick. CountedSteps STEP carries one out inside of Counted, where
// tests/proof/instructions/count has callgrind count; without an argument it lists them.

#include "AgreeableServices.h"
#include "GetNextAvaliableIndex.h"
#include "MemoryOutput.h"
#include "PaintingApplication.h"
#include "TempFileWrapper.h"
#include "TextPage.h"
#include "UnencryptDocWrapper.h"
#include "WritePicture.h"

#include <functional>
#include <iostream>
#include <map>
#include <regex>
#include <stdexcept>
#include <string>

#include <QFile>
#include <QTemporaryDir>

extern "C" __attribute__((noinline)) void Counted(const std::function<void()>& step)
{
    step();
}

namespace {

using namespace Korvel::PDF;

/** Once before it counts, since some things are made once and kept. */
void Count(const std::function<void()>& step)
{
    step();
    Counted(step);
}

/** Wraps a converter for services that do nothing. */
using Wrap = std::shared_ptr<Converter::AbstractConverter> (*)(
    const std::shared_ptr<Converter::AbstractConverter>& inner,
    const std::shared_ptr<Test::AgreeableFiles>& files);

std::shared_ptr<Converter::AbstractConverter>
WrapForTempFile(const std::shared_ptr<Converter::AbstractConverter>& inner,
                const std::shared_ptr<Test::AgreeableFiles>& files)
{
    return std::make_shared<Converter::TempFileWrapper>(std::make_shared<Test::CountingNames>(),
                                                        inner, files);
}

std::shared_ptr<Converter::AbstractConverter>
WrapToUnencrypt(const std::shared_ptr<Converter::AbstractConverter>& inner,
                const std::shared_ptr<Test::AgreeableFiles>& files)
{
    return std::make_shared<Converter::UnencryptDocWrapper>(
        std::make_shared<Test::CountingNames>(), inner, std::make_shared<Test::AgreeablePdfs>(),
        files);
}

void RelayProgress(Wrap wrap)
{
    const QTemporaryDir folder;
    const auto inner = std::make_shared<Test::HandingOnConverter>();
    const auto wrapper = wrap(inner, std::make_shared<Test::AgreeableFiles>(folder));
    QString source;
    inner->onTask = [&](const Test::InnerTask& task) {
        source = task.source;
    };
    wrapper->ConvertFile({{}, "/documents/report.pdf", "/pictures/page.png", {{"need_export", 1}}});
    int received = 0;
    QObject::connect(wrapper.get(), &Converter::AbstractConverter::ConvertationProgress,
                     [&](const QString&, double) { ++received; });
    Count([&] {
        for (int i = 0; i < 1000; ++i)
            Q_EMIT inner->ConvertationProgress(source, 0.5);
    });
    if (received != 2 * 1000)
        throw std::runtime_error("not all has been relayed");
}

void EncodeTextPage()
{
    using namespace Korvel::Worker;
    const QImage page = Test::TextPage(Qt::black);
    Count([&] {
        MemoryOutput png;
        WritePicture(
            png, {page.width(), page.height(), PixelFormat::Bgrx, 150},
            {Korvel::WorkerProtocol::Format::png}, [&page](int row) {
                return Rows{page.constScanLine(row), page.bytesPerLine(), page.height() - row};
            });
    });
}

void FindNumber()
{
    const QTemporaryDir folder;
    for (int number = 2; number < 10002; ++number) {
        QFile file(folder.filePath(QStringLiteral("page(%1).png").arg(number)));
        if (!file.open(QIODevice::WriteOnly))
            throw std::runtime_error("cannot fill the folder");
    }
    const Korvel::ioPath path(folder.path().toStdString());
    const std::regex pattern(R"(page\((\d+)\)\.png)", std::regex::icase);
    Count([&] {
        if (Util::GetNextAvaliableIndex(path, pattern) != "10002")
            throw std::runtime_error("another number");
    });
}

const std::map<std::string, std::function<void()>> steps{
    {"1000 progress signals through TempFileWrapper",
     [] {
         RelayProgress(WrapForTempFile);
     }},
    {"1000 progress signals through UnencryptDocWrapper",
     [] {
         RelayProgress(WrapToUnencrypt);
     }},
    {"a text page as PNG", EncodeTextPage},
    {"a free number among 10000 names", FindNumber},
};

} // namespace

int main(int argc, char** argv)
{
    const PaintingApplication application(argc, argv);
    if (argc > 1)
        steps.at(argv[1])();
    else
        for (const auto& [name, step] : steps)
            std::cout << name << '\n';
}
