// The wrappers around a converter that works, and such converters themselves.

#include "CopyingConverter.h"
#include "CopyingConverterFixture.h"
#include "FakeNameGenerator.h"
#include "FolderFileSystem.h"
#include "TempFileWrapper.h"
#include "UnencryptDocWrapper.h"
#include "WrapperContract.h"

#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace Korvel::PDF::Test {

namespace {

using Converter::AbstractConverter;
using Converter::TempFileWrapper;
using Converter::UnencryptDocWrapper;

class CopyingConverterTest : public CopyingConverterFixture
{
public:
    std::shared_ptr<AbstractConverter> MakeConverter() override
    {
        return std::make_shared<CopyingConverter>();
    }
};

/** Works on a thread for each task, and emits from there. */
class ThreadedConverter : public CopyingConverter
{
public:
    ~ThreadedConverter() override
    {
        for (std::thread& thread : threads)
            thread.join();
    }

protected:
    void Work(const Task& task) override
    {
        threads.emplace_back([this, task] { CopyingConverter::Work(task); });
    }

private:
    std::vector<std::thread> threads;
};

class ThreadedConverterTest : public CopyingConverterFixture
{
public:
    std::shared_ptr<AbstractConverter> MakeConverter() override
    {
        return std::make_shared<ThreadedConverter>();
    }
};

/** Works inside ConvertFile. */
class ImpatientConverter : public CopyingConverter
{
public:
    bool ConvertFile(const Task& task) override
    {
        if (task.type != QStringLiteral("copy"))
            return false;
        Work(task);
        return true;
    }
};

class ImpatientConverterTest : public CopyingConverterFixture
{
public:
    std::shared_ptr<AbstractConverter> MakeConverter() override
    {
        return std::make_shared<ImpatientConverter>();
    }
};

using Inner = std::shared_ptr<AbstractConverter>;

/** What the wrappers work with. */
class Services
{
public:
    Inner PutTempFileWrapperAround(const Inner& inner)
    {
        return std::make_shared<TempFileWrapper>(names, inner, files);
    }

    Inner PutUnencryptDocWrapperAround(const Inner& inner)
    {
        return std::make_shared<UnencryptDocWrapper>(names, inner, pdfs, files);
    }

private:
    QTemporaryDir temp;
    std::shared_ptr<CallJournal> journal = std::make_shared<CallJournal>();
    std::shared_ptr<FakeNameGenerator> names = std::make_shared<FakeNameGenerator>(journal);
    std::shared_ptr<FakePdfProvider> pdfs = std::make_shared<FakePdfProvider>(journal);
    std::shared_ptr<FolderFileSystem> files =
        std::make_shared<FolderFileSystem>(temp.path().toStdString());
};

class WrapperTest : public CopyingConverterFixture
{
protected:
    Services services;
};

class TempFileWrapperTest : public WrapperTest
{
public:
    std::shared_ptr<AbstractConverter> MakeConverter() override
    {
        return services.PutTempFileWrapperAround(std::make_shared<CopyingConverter>());
    }
};

class UnencryptDocWrapperTest : public WrapperTest
{
public:
    std::shared_ptr<AbstractConverter> MakeConverter() override
    {
        return services.PutUnencryptDocWrapperAround(std::make_shared<CopyingConverter>());
    }
};

class UnencryptAroundTempFileTest : public WrapperTest
{
public:
    std::shared_ptr<AbstractConverter> MakeConverter() override
    {
        return services.PutUnencryptDocWrapperAround(
            services.PutTempFileWrapperAround(std::make_shared<ThreadedConverter>()));
    }
};

class TempFileAroundUnencryptTest : public WrapperTest
{
public:
    std::shared_ptr<AbstractConverter> MakeConverter() override
    {
        return services.PutTempFileWrapperAround(
            services.PutUnencryptDocWrapperAround(std::make_shared<ImpatientConverter>()));
    }
};

/** Gives wrappers tasks that they hand on, with a document that can be unencrypted. */
class InnerTest : public TestKit::WrapperFixture
{
public:
    Task MakeTask() override
    {
        const QString number = QString::number(++count);
        const QString source = folder.filePath("source " + number);
        FakePdfProvider::MakeDocument(source.toStdString(), "secret");
        return {"copy",
                source,
                folder.filePath("copy " + number),
                {{"need_export", true}, {"password", std::string("secret")}}};
    }

protected:
    Services services;

private:
    QTemporaryDir folder;
    int count = 0;
};

class TempFileInnerTest : public InnerTest
{
public:
    Inner MakeWrapper(const Inner& inner) override
    {
        return services.PutTempFileWrapperAround(inner);
    }
};

class UnencryptDocInnerTest : public InnerTest
{
public:
    Inner MakeWrapper(const Inner& inner) override
    {
        return services.PutUnencryptDocWrapperAround(inner);
    }
};

} // namespace

using namespace TestKit; // the macro needs more of it than the suite
INSTANTIATE_TYPED_TEST_SUITE_P(CopyingConverter, ConverterContract, CopyingConverterTest);
INSTANTIATE_TYPED_TEST_SUITE_P(ThreadedConverter, ConverterContract, ThreadedConverterTest);
INSTANTIATE_TYPED_TEST_SUITE_P(ImpatientConverter, ConverterContract, ImpatientConverterTest);
INSTANTIATE_TYPED_TEST_SUITE_P(TempFileWrapper, ConverterContract, TempFileWrapperTest);
INSTANTIATE_TYPED_TEST_SUITE_P(UnencryptDocWrapper, ConverterContract, UnencryptDocWrapperTest);
INSTANTIATE_TYPED_TEST_SUITE_P(UnencryptAroundTempFile, ConverterContract,
                               UnencryptAroundTempFileTest);
INSTANTIATE_TYPED_TEST_SUITE_P(TempFileAroundUnencrypt, ConverterContract,
                               TempFileAroundUnencryptTest);
INSTANTIATE_TYPED_TEST_SUITE_P(TempFileWrapper, WrapperContract, TempFileInnerTest);
INSTANTIATE_TYPED_TEST_SUITE_P(UnencryptDocWrapper, WrapperContract, UnencryptDocInnerTest);

} // namespace Korvel::PDF::Test
