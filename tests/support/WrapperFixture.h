#pragma once

#include "ConverterSignals.h"
#include "FakeConverter.h"
#include "FakeFileSystem.h"
#include "FakeNameGenerator.h"
#include "FakePdfProvider.h"
#include "LogCapture.h"
#include "TempFileWrapper.h"
#include "UnencryptDocWrapper.h"

#include <gmock/gmock.h>
#include <QTemporaryDir>

namespace Korvel::PDF::Test {

using Converter::AbstractConverter;
using Converter::TempFileWrapper;
using Converter::UnencryptDocWrapper;
using Task = AbstractConverter::Task;

enum class Wrapper { TempFile, Unencrypt };

/** Wrappers around each other, the outermost first. */
struct Stack
{
    std::string name;
    std::vector<Wrapper> wrappers;
};

std::ostream& operator<<(std::ostream& stream, const Stack& stack);

/** Both wrappers alone, and the four stacks of two. */
const std::vector<Stack>& AllStacks();

/** The converter, the services and a folder for wrappers under test; what they do is journaled. */
class WrapperFixture : public testing::Test
{
protected:
    WrapperFixture();

    std::shared_ptr<TempFileWrapper>
    MakeTempFileWrapper(const std::shared_ptr<AbstractConverter>& inner);
    std::shared_ptr<UnencryptDocWrapper>
    MakeUnencryptDocWrapper(const std::shared_ptr<AbstractConverter>& inner);

    std::shared_ptr<AbstractConverter> MakeAround(const std::shared_ptr<AbstractConverter>& inner,
                                                  Wrapper wrapper);

    /**
     * The outermost wrapper of `stack`, around the fake converter. The end of each wrapper's
     * QObject is journaled, 1 being the outermost.
     */
    std::shared_ptr<AbstractConverter> Make(const Stack& stack);

    /** Gives the fixture's shares of converter and services up; what a wrapper holds lives on. */
    void ReleaseAll();

    /** A path in the folder of this test. */
    QString Path(const QString& name) const;

    /** A task for a document in the folder of this test that every wrapper has work with. */
    Task MakeTask(const QString& destination = QStringLiteral("/out/page.png"));

    /** Writes the signals of `sender` into `received`. */
    void Record(const AbstractConverter& sender);

    /** The lines of `received`, which is empty afterwards. */
    CallJournal TakeReceived() { return Take(received); }

    QTemporaryDir folder;
    std::shared_ptr<CallJournal> journal = std::make_shared<CallJournal>();
    std::shared_ptr<FakeNameGenerator> names = std::make_shared<FakeNameGenerator>(journal);
    std::shared_ptr<FakeConverter> converter = std::make_shared<FakeConverter>(journal);
    std::shared_ptr<FakePdfProvider> pdfs = std::make_shared<FakePdfProvider>(journal);
    /** Its temporary folder is the folder of this test. */
    std::shared_ptr<FakeFileSystem> files;
    QObject receiver;
    CallJournal received;
};

} // namespace Korvel::PDF::Test
