// The converters of the command, with the worker that it has.

#include "ConverterContract.h"
#include "LocalFileSystem.h"
#include "PageFanOut.h"
#include "SamplePdf.h"
#include "SessionFolder.h"
#include "TempFileWrapper.h"
#include "UnencryptDocWrapper.h"
#include "UuidFileNameGenerator.h"
#include "WorkerConverter.h"
#include "WorkerPdfProvider.h"

#include <gtest/gtest.h>
#include <QFile>
#include <QTemporaryDir>

namespace Korvel::PDF::Test {

namespace {

using Converter::AbstractConverter;
using Converter::PageFanOut;
using Converter::TempFileWrapper;
using Converter::UnencryptDocWrapper;
using Converter::WorkerConverter;

/** Tasks that make pictures of an encrypted document's pages, or of a plain one's. */
class WorkerFixture : public TestKit::ConverterFixture
{
protected:
    enum class Document { Plain, Encrypted };

    explicit WorkerFixture(Document document)
    {
        MakeSamplePdf(folder.filePath("plain.pdf"), 2);
        EncryptPdf(folder.filePath("plain.pdf"), folder.filePath("encrypted.pdf"),
                   Encryption::Aes256, "secret", "owner");
        sample = folder.filePath(document == Document::Plain ? "plain.pdf" : "encrypted.pdf");
    }

    Task MakeTask()
    {
        const QString number = QString::number(++count);
        Task task;
        task.source = folder.filePath("source " + number + ".pdf");
        task.destination = folder.filePath(number + ".png");
        task.options["resolution"] = 30.0;
        EXPECT_TRUE(QFile::copy(sample, task.source));
        return task;
    }

    QTemporaryDir folder;

private:
    QString sample;
    int count = 0;
};

class WorkerConverterTest : public WorkerFixture
{
public:
    WorkerConverterTest() : WorkerFixture(Document::Plain) {}

    std::shared_ptr<AbstractConverter> MakeConverter() override
    {
        return std::make_shared<WorkerConverter>(WorkerSettings{WORKER});
    }

    Task SucceedingTask() override { return TaskOfPage(1); }
    std::optional<Task> FailingTask() override { return TaskOfPage(3); }

private:
    Task TaskOfPage(int page)
    {
        Task task = MakeTask();
        task.options["page"] = page;
        return task;
    }
};

class PageFanOutTest : public WorkerFixture
{
public:
    PageFanOutTest() : PageFanOutTest(Document::Plain) {}

    std::shared_ptr<AbstractConverter> MakeConverter() override
    {
        const auto makeChain = [names = names, files = files] {
            return std::make_shared<TempFileWrapper>(
                names, std::make_shared<WorkerConverter>(WorkerSettings{WORKER}), files);
        };
        return std::make_shared<PageFanOut>(makeChain, 2);
    }

    Task SucceedingTask() override { return TaskOfPages({1, 2}); }
    std::optional<Task> FailingTask() override { return TaskOfPages({1, 3}); }
    std::optional<Task> RefusedTask() override { return TaskOfPages({}); }

protected:
    explicit PageFanOutTest(Document document) : WorkerFixture(document) {}

    virtual Task TaskOfPages(const std::vector<int>& pages)
    {
        Task task = MakeTask();
        std::vector<PageFanOut::PageTask> pageTasks;
        for (const int page : pages)
            pageTasks.push_back({page, QString("%1-%2.png").arg(task.source).arg(page)});
        task.options["page_tasks"] = pageTasks;
        return task;
    }

    std::string error;
    std::shared_ptr<UuidFileNameGenerator> names = std::make_shared<UuidFileNameGenerator>();
    std::shared_ptr<LocalFileSystem> files = std::make_shared<LocalFileSystem>(
        SessionFolder::Create(folder.path().toStdString(), error));
};

class CommandTest : public PageFanOutTest
{
public:
    CommandTest() : PageFanOutTest(Document::Encrypted) {}

    std::shared_ptr<AbstractConverter> MakeConverter() override
    {
        return std::make_shared<UnencryptDocWrapper>(
            names, PageFanOutTest::MakeConverter(),
            std::make_shared<WorkerPdfProvider>(WorkerSettings{WORKER}), files);
    }

protected:
    Task TaskOfPages(const std::vector<int>& pages) override
    {
        Task task = PageFanOutTest::TaskOfPages(pages);
        task.options["need_export"] = true;
        task.options["password"] = std::string("secret");
        return task;
    }
};

} // namespace

using namespace TestKit; // the macro needs more of it than the suite
INSTANTIATE_TYPED_TEST_SUITE_P(WorkerConverter, ConverterContract, WorkerConverterTest);
INSTANTIATE_TYPED_TEST_SUITE_P(PageFanOut, ConverterContract, PageFanOutTest);
INSTANTIATE_TYPED_TEST_SUITE_P(ChainOfTheCommand, ConverterContract, CommandTest);

} // namespace Korvel::PDF::Test
