#include "WorkerProtocol.h"

#include "WorkerProcess.h"

#include <gtest/gtest.h>

using namespace Korvel;

TEST(WorkerProtocolTest, ReadsEveryReasonBack)
{
    for (int number = 0; number <= int(WorkerProtocol::Reason::Ended); ++number) {
        const auto reason = WorkerProtocol::Reason(number);
        EXPECT_EQ(WorkerProtocol::ReasonOf(WorkerProtocol::FailureAnswer(reason, "message")),
                  reason)
            << WorkerProtocol::WordFor(reason);
    }
}

TEST(WorkerProtocolTest, ReadsNoReasonWhereNoneIsKnown)
{
    EXPECT_EQ(WorkerProtocol::ReasonOf({{"ok", true}}), std::nullopt);
    EXPECT_EQ(WorkerProtocol::ReasonOf({{"ok", false}, {"reason", "something-new"}}), std::nullopt);
}

TEST(WorkerProtocolTest, HasTheDefaultsOfTheLibrary)
{
    const PDF::WorkerSettings settings;
    EXPECT_EQ(settings.memoryLimit, WorkerProtocol::defaultMemoryLimit);
    EXPECT_EQ(settings.largestResult, WorkerProtocol::defaultFileLimit);
    EXPECT_EQ(settings.deadline, std::chrono::seconds(WorkerProtocol::defaultTimeLimit));
}
