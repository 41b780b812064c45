#include "JournalTotals.h"
#include "JournalReader.h"
#include "TotalsText.h"

#include <gmock/gmock.h>

#include <QJsonDocument>
#include <QTemporaryFile>

namespace Korvel::App {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::Pair;

constexpr char begun[] = R"({"event":"begun","time":"2026-11-22T09:00:00.000Z","version":1})";
constexpr char endedAfterAMinute[] =
    R"({"event":"ended","time":"2026-11-22T09:01:00.000Z","exitCode":10})";

/** Takes lines, each on its own. */
void Take(JournalTotals& journal, const std::vector<QByteArray>& lines)
{
    for (const QByteArray& line : lines)
        journal.Take(QJsonDocument::fromJson(line).object());
}

Totals Of(const std::vector<QByteArray>& lines)
{
    JournalTotals journal;
    Take(journal, lines);
    return journal.Total();
}

QByteArray Begun(const QByteArray& time)
{
    return R"({"event":"begun","version":1,"time":"2026-11-22T)" + time + "Z\"}";
}

QByteArray Ended(const QByteArray& time, int exitCode)
{
    return R"({"event":"ended","time":"2026-11-22T)" + time + R"(Z","exitCode":)" +
           QByteArray::number(exitCode) + '}';
}

QByteArray Planned(const QByteArray& file, int pages)
{
    return R"({"event":"planned","file":")" + file + R"(","results":[],"pages":)" +
           QByteArray::number(pages) + '}';
}

QByteArray Failed(const QByteArray& file, const QByteArray& reason)
{
    return R"({"event":"failed","message":"","file":")" + file + R"(","reason":")" + reason + "\"}";
}

QByteArray Skipped(const QByteArray& file)
{
    return R"({"event":"skipped","file":")" + file + "\"}";
}

/** Of 1000 bytes a page. */
QByteArray Done(const QByteArray& file, int pages, double seconds, const QByteArray& more = {})
{
    QByteArray results;
    for (int page = 1; page <= pages; ++page)
        results += QByteArray(page > 1 ? "," : "") + R"({"path":"p.png","bytes":1000,"page":)" +
                   QByteArray::number(page) + '}';
    return R"({"event":"done","file":")" + file + R"(","results":[)" + results + R"(],"seconds":)" +
           QByteArray::number(seconds) + more + '}';
}

TEST(JournalTotals, CountsEachDocumentByTheLastLineAboutIt)
{
    const Totals total =
        Of({begun, Planned("a", 2), Planned("b", 1), Planned("c", 1), Planned("d", 1),
            R"({"event":"placing","path":"p.png","bytes":1000})", Done("a", 2, 1), Skipped("b"),
            Failed("c", "damaged"), endedAfterAMinute});
    EXPECT_EQ(total.Documents(), 4);
    EXPECT_EQ(total.pending, 1);
    EXPECT_EQ(total.done, 1);
    EXPECT_EQ(total.skipped, 1);
    EXPECT_THAT(total.failed, ElementsAre(Pair("damaged", 1)));
    EXPECT_EQ(total.pages, 2);
    EXPECT_EQ(total.files, 2);
    EXPECT_EQ(total.bytes, 2000);
}

TEST(JournalTotals, ForgetsAFailureThatWasMadeUpFor)
{
    const Totals total =
        Of({begun, Failed("a", "timed-out"), Failed("b", "timed-out"), Failed("c", "damaged"),
            Ended("09:01:00.000", 10), Begun("09:02:00.000"), Done("a", 1, 1), Done("c", 1, 1)});
    EXPECT_EQ(total.Documents(), 3);
    EXPECT_EQ(total.done, 2);
    EXPECT_THAT(total.failed, ElementsAre(Pair("timed-out", 1)));
}

TEST(JournalTotals, CountsADocumentThatIsDoneTwiceOnce)
{
    const Totals total =
        Of({begun, Done("a", 3, 9, R"(,"repaired":true)"), Begun("09:02:00.000"), Done("a", 2, 1)});
    EXPECT_EQ(total.done, 1);
    EXPECT_EQ(total.repaired, 0);
    EXPECT_EQ(total.pages, 2);
    EXPECT_EQ(total.bytes, 2000);
    ASSERT_EQ(total.slowest.size(), 1u);
    EXPECT_EQ(total.slowest[0].seconds, 1);
}

TEST(JournalTotals, NamesThePagesThatDocumentsLackAsTheLastLineAboutThemHasThem)
{
    const QByteArray lacks = R"(,"failedPages":[{"page":5},{"page":2}])";
    JournalTotals journal;
    Take(journal, {begun, Done("a", 3, 1, lacks), Done("b", 1, 1), Done("c", 3, 1, lacks)});
    EXPECT_THAT(journal.Total().lacking,
                ElementsAre(Pair("a", ElementsAre(2, 5)), Pair("c", ElementsAre(2, 5))));
    Take(journal, {Planned("a", 5), Done("c", 4, 1, R"(,"failedPages":[{"page":2}])")});
    EXPECT_THAT(journal.Total().lacking, ElementsAre(Pair("c", ElementsAre(2))));
    Take(journal, {Done("a", 5, 1), Failed("c", "damaged")});
    EXPECT_THAT(journal.Total().lacking, ElementsAre());
}

TEST(JournalTotals, AddsDocumentsUpThatLackPagesAndHaveOneName)
{
    const std::vector<QByteArray> lines{begun, Done("a", 3, 1, R"(,"failedPages":[{"page":2}])")};
    Totals total = Of(lines);
    total += Of(lines);
    EXPECT_EQ(total.lacking.size(), 2u);
}

TEST(JournalTotals, NamesTwentyDocumentsThatLackPagesInItsText)
{
    const QByteArray lacks = R"(,"failedPages":[{"page":1},{"page":2},{"page":3},{"page":7}])";
    JournalTotals journal;
    Take(journal, {begun});
    for (int i = 10; i < 30; ++i)
        Take(journal, {Done(QByteArray::number(i), 1, 1, lacks)});
    const QString twenty = ToText(journal.Total());
    EXPECT_THAT(twenty.toStdString(), HasSubstr("           4 pages of 29: 1-3, 7\n"));
    EXPECT_THAT(twenty.toStdString(), Not(HasSubstr("further")));
    Take(journal, {Done("30", 1, 1, lacks)});
    const QString more = ToText(journal.Total());
    EXPECT_THAT(more.toStdString(),
                HasSubstr("           1 further document, which --json names\n"));
    EXPECT_THAT(more.toStdString(), Not(HasSubstr("of 30")));
}

TEST(JournalTotals, CountsAllPagesOfADocumentWhoseResultHoldsThemAll)
{
    const QByteArray done =
        R"({"event":"done","file":"a","seconds":1,"results":[{"path":"a.txt","bytes":7}]})";
    const Totals total = Of({begun, Planned("a", 30), done});
    EXPECT_EQ(total.pages, 30);
    EXPECT_EQ(total.files, 1);
    EXPECT_EQ(total.bytes, 7);
}

TEST(JournalTotals, CountsRunsAndThoseThatWereKilled)
{
    const Totals total = Of({Begun("09:00:00.000"), Begun("09:10:00.000"),
                             Ended("09:20:00.000", 143), Begun("09:30:00.000")});
    EXPECT_EQ(total.journals, 1);
    EXPECT_EQ(total.runs, 3);
    EXPECT_EQ(total.runsWithoutEnd, 2);
}

TEST(JournalTotals, IsOverWhenTheLastRunHasLeftNothingToDo)
{
    JournalTotals journal;
    EXPECT_FALSE(journal.IsOver());
    for (const int exitCode : {0, 3, 10}) {
        Take(journal, {Begun("09:00:00.000")});
        EXPECT_FALSE(journal.IsOver());
        Take(journal, {Ended("09:10:00.000", exitCode)});
        EXPECT_TRUE(journal.IsOver()) << exitCode;
    }
    Take(journal, {Begun("09:20:00.000"), Ended("09:30:00.000", 130)});
    EXPECT_FALSE(journal.IsOver());
}

TEST(JournalTotals, TakesARunThatWasKilledForAtWorkUpToItsLastLine)
{
    const Totals total =
        Of({Begun("09:00:00.000"), R"({"event":"placing","time":"2026-11-22T09:00:01.500Z"})",
            Begun("09:10:00.000"), Ended("09:10:02.000", 0)});
    EXPECT_DOUBLE_EQ(total.SecondsAtWork(), 3.5);
}

TEST(JournalTotals, CountsTimeOnceInWhichSeveralRunsAreAtWork)
{
    Totals total = Of({Begun("09:00:10.000"), Ended("09:00:30.000", 0)});
    total += Of({Begun("09:00:00.000"), Ended("09:00:20.000", 0)});
    EXPECT_DOUBLE_EQ(total.SecondsAtWork(), 30);
    total += Of({Begun("09:00:12.000"), Ended("09:00:13.000", 0)});
    EXPECT_DOUBLE_EQ(total.SecondsAtWork(), 30) << "within the others";
    total += Of({Begun("10:00:00.000"), Ended("10:00:01.000", 0)});
    EXPECT_DOUBLE_EQ(total.SecondsAtWork(), 31);
    total += Of({R"({"event":"begun"})"});
    EXPECT_DOUBLE_EQ(total.SecondsAtWork(), 31) << "without a time";
}

TEST(JournalTotals, AddsJournalsUpWithoutComparingTheirDocuments)
{
    Totals total = Of({begun, Done("a", 1, 1), Failed("b", "damaged")});
    total += Of({begun, Done("a", 2, 1, R"(,"repaired":true)"), Failed("b", "damaged"),
                 Planned("c", 1), Skipped("d"), endedAfterAMinute});
    EXPECT_EQ(total.journals, 2);
    EXPECT_EQ(total.runs, 2);
    EXPECT_EQ(total.runsWithoutEnd, 1);
    EXPECT_EQ(total.Documents(), 6);
    EXPECT_EQ(total.done, 2);
    EXPECT_EQ(total.repaired, 1);
    EXPECT_EQ(total.pending, 1);
    EXPECT_EQ(total.skipped, 1);
    EXPECT_EQ(total.pages, 3);
    EXPECT_EQ(total.files, 3);
    EXPECT_EQ(total.bytes, 3000);
    EXPECT_THAT(total.failed, ElementsAre(Pair("damaged", 2)));
}

TEST(JournalTotals, NamesTheFiveSlowestDocumentsOfAllJournals)
{
    Totals total = Of({begun, Done("a", 1, 3), Done("b", 1, 9), Done("c", 1, 1), Done("d", 1, 7)});
    total += Of({begun, Done("e", 1, 8), Done("f", 1, 2), Done("g", 1, 4)});
    QString slowest;
    for (const Totals::Slow& document : total.slowest)
        slowest += document.file;
    EXPECT_EQ(slowest, "bedga");
}

TEST(JournalTotals, LeavesEventsAloneThatItDoesNotKnow)
{
    const Totals total = Of({begun, R"({"event":"dreamt","file":"a"})"});
    EXPECT_EQ(total.Documents(), 0);
    EXPECT_EQ(total.runs, 1);
}

TEST(JournalTotals, TakesALastLineOnceItIsWhole)
{
    QTemporaryFile file;
    ASSERT_TRUE(file.open());
    const QByteArray done = Done("a", 1, 1) + '\n';
    file.write(begun + QByteArray("\n") + done.left(20));
    file.flush();
    JournalTotals journal;
    const auto take = [&journal](const QJsonObject& line) {
        journal.Take(line);
    };
    JournalReader reader(file.fileName());
    reader.ReadOn(take);
    EXPECT_EQ(journal.Total().done, 0);
    file.write(done.mid(20));
    file.flush();
    reader.ReadOn(take);
    EXPECT_EQ(journal.Total().done, 1);
    EXPECT_EQ(journal.Total().runs, 1);
}

TEST(TotalsText, PutsNumbersIntoAColumnAndWhatTheyCountBehindIt)
{
    Totals totals = Of({begun, endedAfterAMinute});
    totals.journals = 12;
    totals.runs = 13;
    totals.runsWithoutEnd = 2;
    totals.pending = 4;
    totals.done = 1234567;
    totals.repaired = 3;
    totals.failed = {{"damaged", 7}, {"empty", 1}, {"not-a-pdf", 11}};
    totals.pages = 7000000;
    totals.files = 6000000;
    totals.bytes = 5'432'000'000;
    totals.slowest = {{"a.pdf", 61.25, 300}, {"b\n.pdf", 9, 1}};
    EXPECT_EQ(ToText(totals).toStdString(),
              "          12 journals\n"
              "          13 runs; 2 without an end: killed, or still at work\n"
              "     0:01:00 at work\n"
              "   1,234,590 documents\n"
              "           4 to do\n"
              "   1,234,567 done; 3 of them repaired, which want a look\n"
              "           0 skipped\n"
              "          19 failed\n"
              "               11 not-a-pdf\n"
              "                7 damaged\n"
              "                1 empty\n"
              "   7,000,000 pages, 116666.7 a second\n"
              "   6,000,000 files of 5.4 GB\n"
              "\n"
              "The slowest:\n"
              "        61.3 s for 300 pages of a.pdf\n"
              "         9.0 s for 1 page of b\\x0a.pdf\n");
}

TEST(TotalsText, KnowsOneFromMany)
{
    Totals totals = Of({begun});
    totals.done = 1;
    totals.repaired = 1;
    totals.pages = 1;
    totals.files = 1;
    totals.bytes = 1;
    EXPECT_EQ(ToText(totals).toStdString(), "           1 journal\n"
                                            "           1 run; 1 without an end: killed, or still "
                                            "at work\n"
                                            "     0:00:00 at work\n"
                                            "           1 document\n"
                                            "           0 to do\n"
                                            "           1 done; 1 of them repaired, which wants a "
                                            "look\n"
                                            "           0 skipped\n"
                                            "           0 failed\n"
                                            "           1 page, 0.0 a second\n"
                                            "           1 file of 1 byte\n");
    EXPECT_EQ(ToLine(totals), "1 of 1 document done, 0 to do, 0 skipped, 0 failed; 1 page, 0.0 a "
                              "second");
}

TEST(TotalsText, FitsALineWhereItHasToBeShort)
{
    const Totals totals = Of({begun, Planned("a", 1), Done("b", 60, 1), Skipped("c"), Skipped("d"),
                              Failed("e", "damaged"), endedAfterAMinute});
    EXPECT_EQ(ToLine(totals).toStdString(),
              "1 of 5 documents done, 1 to do, 2 skipped, 1 failed; 60 pages, 1.0 a second");
}

} // namespace
} // namespace Korvel::App
