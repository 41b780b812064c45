// What a worker keeps of the pages that it has converted: it may go on for days.

#include "WorkerFixture.h"

#include <QFile>
#include <QJsonArray>

namespace Korvel::Worker {
namespace {

constexpr int fewPages = 1000;
constexpr int manyPages = 10'000;
constexpr qint64 mebibyte = 1 << 20;

class EnduranceTest : public WorkerFixture
{
protected:
    /** Converts pages until there are so many, and tells what the worker holds. */
    qint64 MemoryAfter(int pages, const QString& document, const QString& format)
    {
        for (; converted < pages; ++converted) {
            const int page = converted + 1;
            const QString result = Path("result");
            const QJsonObject answer =
                Convert(document, result, format,
                        {{"page", page}, {"pages", QJsonArray{page}}, {"resolution", 20}});
            EXPECT_TRUE(answer["ok"].toBool()) << page;
            QFile::remove(result);
        }
        return worker.Memory();
    }

    /** What many pages take beyond a few. */
    qint64 Growth(const QString& format)
    {
        const QString document = Sample(manyPages);
        const qint64 before = MemoryAfter(fewPages, document, format);
        return MemoryAfter(manyPages, document, format) - before;
    }

    int converted = 0;
};

TEST_F(EnduranceTest, TenThousandPicturesTakeNoMoreMemoryThanOneThousand)
{
    EXPECT_LT(Growth("bmp"), 8 * mebibyte);
}

TEST_F(EnduranceTest, TenThousandTextsTakeNoMoreMemoryThanOneThousand)
{
    if (EngineUnderTest() == QLatin1String("qt"))
        GTEST_SKIP() << "Qt PDF never frees the text of a page";
    EXPECT_LT(Growth("txt"), 8 * mebibyte);
}

} // namespace
} // namespace Korvel::Worker
