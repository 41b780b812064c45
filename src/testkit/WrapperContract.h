#pragma once

#include "AbstractConverter.h"

#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <QCoreApplication>
#include <QMetaMethod>
#include <QPointer>

namespace Korvel::PDF::TestKit {

/**
 * The inner converter that WrapperContract gives a wrapper: it notes down what it is asked and who
 * connects to it, and the test emits its signals.
 */
class InnerConverter : public Converter::AbstractConverter
{
public:
    /** Calls `whenDestroyed`, as converters may emit from their destructors. */
    ~InnerConverter() override
    {
        if (whenDestroyed)
            whenDestroyed();
    }

    bool ConvertFile(const Task& task) override
    {
        given.push_back(task);
        if (whenAsked)
            whenAsked(task);
        return accepts;
    }

    bool CancelConvertation() override { return cancels; }
    std::map<QString, QStringList> GetSupportedFormats() const override { return formats; }
    bool DoesServiceAvailable() override { return isAvailable; }

    /** The tasks that it was given. */
    std::vector<Task> given;
    /** The signals that were connected to, in order. */
    std::vector<std::string> connections;
    /** What ConvertFile answers. */
    bool accepts = true;
    /** What CancelConvertation answers. */
    bool cancels = true;
    /** What DoesServiceAvailable answers. */
    bool isAvailable = true;
    /** What GetSupportedFormats answers. */
    std::map<QString, QStringList> formats;
    /** What it does meanwhile, if set. */
    std::function<void(const Task&)> whenAsked;
    /** What its destructor does, if set. */
    std::function<void()> whenDestroyed;

protected:
    /** Notes the signal down. */
    void connectNotify(const QMetaMethod& signal) override
    {
        connections.push_back(signal.methodSignature().toStdString());
    }
};

/** The wrapper that WrapperContract checks, and tasks for it. */
class WrapperFixture : public testing::Test
{
public:
    /** What is wrapped. */
    using AbstractConverter = Converter::AbstractConverter;
    /** What it is given. */
    using Task = AbstractConverter::Task;

    /** A new wrapper, whose last share is given away, and so are those of what it holds. */
    virtual std::shared_ptr<AbstractConverter>
    MakeWrapper(const std::shared_ptr<AbstractConverter>& inner) = 0;

    /** A task that the wrapper hands on; every one has a source and a destination of its own. */
    virtual Task MakeTask() = 0;
};

/**
 * Checks what a wrapper does with the converter that it wraps. That it is a converter itself,
 * ConverterContract checks.
 *
 *     class MyWrapperTest : public Korvel::PDF::TestKit::WrapperFixture { ... };
 *
 *     using namespace Korvel::PDF::TestKit;
 *     INSTANTIATE_TYPED_TEST_SUITE_P(Mine, WrapperContract, MyWrapperTest);
 *
 * - It connects to the eight signals of its inner converter, once and in the order of the guides.
 * - Each signal is passed on once, under the caller's source, also from inside ConvertFile.
 * - CancelConvertation, GetSupportedFormats and DoesServiceAvailable answer what the inner
 *   converter does, and so does ConvertFile when that refuses a task.
 * - It shares the inner converter, is no parent of it, and lives through a signal that comes from
 *   the inner converter's destructor.
 */
template <typename Fixture>
class WrapperContract : public Fixture
{
protected:
    /** What is wrapped. */
    using AbstractConverter = Converter::AbstractConverter;
    /** What it is given. */
    using Task = AbstractConverter::Task;

    /** Wraps a new inner converter, and receives the wrapper's signals. */
    void SetUp() override
    {
        Fixture::SetUp();
        inner = std::make_shared<InnerConverter>();
        wrapper = application.MakeWrapper(inner);
        using C = AbstractConverter;
        Receive("UploadProgress", &C::UploadProgress);
        Receive("DownloadProgress", &C::DownloadProgress);
        Receive("ConvertationStarted", &C::ConvertationStarted);
        Receive("ConvertationProgress", &C::ConvertationProgress);
        Receive("ConvertationFinished", &C::ConvertationFinished);
        Receive("Failed", &C::Failed);
        Receive("Finished", qOverload<const QString&, QString>(&C::Finished));
        Receive("Finished", qOverload<const QString&, QStringList>(&C::Finished));
    }

    /** Destroys both. */
    void TearDown() override
    {
        wrapper.reset();
        inner.reset();
        Fixture::TearDown();
    }

    /** Gives the wrapper a task, and answers the source that the inner converter knows it by. */
    QString StartTask(const Task& task)
    {
        EXPECT_TRUE(wrapper->ConvertFile(task))
            << "A wrapper must answer true when its inner converter has accepted the task";
        EXPECT_EQ(inner->given.size(), 1U) << "A wrapper must hand the task to its inner converter";
        return inner->given.empty() ? task.source : inner->given.back().source;
    }

    /** Fails the running test unless the signal has come `times` times, under the source. */
    void ExpectReceived(const std::string& signal, const QString& source, int times = 1)
    {
        QCoreApplication::processEvents();
        EXPECT_EQ(received[signal + ' ' + source.toStdString()], times)
            << "A wrapper must pass " << signal << " on once, under the caller's source";
    }

    /** Ends the process, with 0, when the wrapper has lived through it. */
    [[noreturn]] void DestroyWithTaskInHand()
    {
        const QString source = StartTask(application.MakeTask());
        InnerConverter* const sender = inner.get();
        sender->whenDestroyed = [sender, source] {
            Q_EMIT sender->Finished(source, QStringLiteral("/late"));
            Q_EMIT sender->Failed(source, AbstractConverter::Cancelled);
        };
        inner.reset();
        wrapper.reset();
        std::_Exit(0);
    }

    /** The fixture. */
    WrapperFixture& application = *this;
    /** What is wrapped. */
    std::shared_ptr<InnerConverter> inner;
    /** The wrapper of this test. */
    std::shared_ptr<AbstractConverter> wrapper;

private:
    template <typename... Arguments>
    void Receive(const std::string& name,
                 void (AbstractConverter::*signal)(const QString&, Arguments...))
    {
        QObject::connect(wrapper.get(), signal, &receiver,
                         [this, name](const QString& source, const Arguments&...) {
                             ++received[name + ' ' + source.toStdString()];
                         });
    }

    QObject receiver;
    /** How often each signal came, by its name and source. */
    std::map<std::string, int> received;
};

TYPED_TEST_SUITE_P(WrapperContract);

TYPED_TEST_P(WrapperContract, ConnectsToTheEightSignalsInOrder)
{
    const std::vector<std::string> order{"UploadProgress(QString,qlonglong,qlonglong)",
                                         "DownloadProgress(QString,qlonglong,qlonglong)",
                                         "ConvertationStarted(QString)",
                                         "ConvertationProgress(QString,double)",
                                         "ConvertationFinished(QString)",
                                         "Failed(QString,ErrorType)",
                                         "Finished(QString,QString)",
                                         "Finished(QString,QStringList)"};
    std::vector<std::string> connected;
    for (const std::string& signal : this->inner->connections)
        if (signal.rfind("destroyed", 0) != 0)
            connected.push_back(signal);
    EXPECT_EQ(connected, order)
        << "A wrapper must connect to the eight signals of its inner converter once, in this order";
}

TYPED_TEST_P(WrapperContract, PassesOnWhatHappensToATaskThatFails)
{
    const auto task = this->application.MakeTask();
    const QString source = this->StartTask(task);
    auto& inner = *this->inner;
    Q_EMIT inner.UploadProgress(source, 1, 2);
    Q_EMIT inner.DownloadProgress(source, 1, 2);
    Q_EMIT inner.ConvertationStarted(source);
    Q_EMIT inner.ConvertationProgress(source, 0.5);
    Q_EMIT inner.ConvertationFinished(source);
    Q_EMIT inner.Failed(source, Converter::AbstractConverter::CannotRender);
    for (const char* const signal : {"UploadProgress", "DownloadProgress", "ConvertationStarted",
                                     "ConvertationProgress", "ConvertationFinished", "Failed"})
        this->ExpectReceived(signal, task.source);
    this->ExpectReceived("Finished", task.source, 0);
}

TYPED_TEST_P(WrapperContract, PassesOnTheEndOfATaskWithOneResult)
{
    const auto task = this->application.MakeTask();
    const QString source = this->StartTask(task);
    Q_EMIT this->inner->Finished(source, this->inner->given.front().destination);
    this->ExpectReceived("Finished", task.source);
    this->ExpectReceived("Failed", task.source, 0);
}

TYPED_TEST_P(WrapperContract, PassesOnTheEndOfATaskWithSeveralResults)
{
    const auto task = this->application.MakeTask();
    const QString source = this->StartTask(task);
    Q_EMIT this->inner->Finished(source, QStringList(this->inner->given.front().destination));
    this->ExpectReceived("Finished", task.source);
    this->ExpectReceived("Failed", task.source, 0);
}

TYPED_TEST_P(WrapperContract, PassesOnWhatEndsInsideConvertFile)
{
    const auto task = this->application.MakeTask();
    InnerConverter* const sender = this->inner.get();
    sender->whenAsked = [sender](const auto& handedOn) {
        Q_EMIT sender->Finished(handedOn.source, handedOn.destination);
    };
    this->StartTask(task);
    this->ExpectReceived("Finished", task.source);
}

TYPED_TEST_P(WrapperContract, AnswersWhatTheInnerConverterAnswers)
{
    auto& inner = *this->inner;
    for (const bool answer : {true, false}) {
        inner.cancels = answer;
        EXPECT_EQ(this->wrapper->CancelConvertation(), answer)
            << "CancelConvertation of a wrapper must answer what its inner converter does";
        inner.isAvailable = answer;
        EXPECT_EQ(this->wrapper->DoesServiceAvailable(), answer)
            << "DoesServiceAvailable of a wrapper must answer what its inner converter does";
    }
    inner.formats = {{QStringLiteral("pdf"), {QStringLiteral("png"), QStringLiteral("txt")}}};
    EXPECT_EQ(this->wrapper->GetSupportedFormats(), inner.formats)
        << "GetSupportedFormats of a wrapper must answer what its inner converter does";
}

TYPED_TEST_P(WrapperContract, AnswersFalseForATaskThatTheInnerConverterRefuses)
{
    this->inner->accepts = false;
    EXPECT_FALSE(this->wrapper->ConvertFile(this->application.MakeTask()))
        << "A wrapper must answer false when its inner converter has refused the task";
}

TYPED_TEST_P(WrapperContract, SharesItsInnerConverter)
{
    EXPECT_EQ(this->inner->parent(), nullptr) << "A wrapper must not own its inner converter";
    const std::weak_ptr<InnerConverter> share = this->inner;
    this->inner.reset();
    EXPECT_FALSE(share.expired()) << "A wrapper must share its inner converter";
    this->wrapper.reset();
    QCoreApplication::processEvents();
    EXPECT_TRUE(share.expired()) << "A wrapper must let its share of the inner converter go";
}

TYPED_TEST_P(WrapperContract, LivesThroughSignalsFromTheInnerConvertersDestructor)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(this->DestroyWithTaskInHand(), testing::ExitedWithCode(0), "")
        << "A wrapper must live through a signal from the destructor of its inner converter";
}

REGISTER_TYPED_TEST_SUITE_P(WrapperContract, ConnectsToTheEightSignalsInOrder,
                            PassesOnWhatHappensToATaskThatFails, PassesOnTheEndOfATaskWithOneResult,
                            PassesOnTheEndOfATaskWithSeveralResults,
                            PassesOnWhatEndsInsideConvertFile, AnswersWhatTheInnerConverterAnswers,
                            AnswersFalseForATaskThatTheInnerConverterRefuses,
                            SharesItsInnerConverter,
                            LivesThroughSignalsFromTheInnerConvertersDestructor);

} // namespace Korvel::PDF::TestKit
