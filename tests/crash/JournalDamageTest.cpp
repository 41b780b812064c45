// Journals of runs that were killed are damaged before the next run reads them.

#include "FileTestTools.h"
#include "JournalText.h"
#include "Stride.h"
#include "TracedProgram.h"

#include <cstdio>
#include <functional>
#include <map>
#include <random>

#include <gmock/gmock.h>

#include <QDir>

#include <sys/syscall.h>

namespace Korvel::Failing {
namespace {

using App::Joined;
using App::LinesOf;
using App::Outcome;
using PDF::Test::NamesIn;
using PDF::Test::ReadFile;
using PDF::Test::WriteFile;
using testing::AnyOf;
using testing::HasSubstr;

using Files = std::map<std::string, std::string>;

constexpr int seed = 20261122;
constexpr int mutationsInAll = 420;

/** Numbers that are the same in each run of the test. */
class Chance
{
public:
    explicit Chance(int number) : engine(unsigned(seed + number)) {}

    int Below(qint64 limit) { return int(engine() % unsigned(std::max<qint64>(limit, 1))); }

private:
    std::mt19937 engine;
};

/** What is done to a journal; `other` is one of another list. */
struct Mutation
{
    const char* name;
    std::function<QByteArray(QByteArray journal, const QByteArray& other, Chance& chance)> apply;
};

QByteArray Flipped(QByteArray journal, const QByteArray&, Chance& chance)
{
    for (int flips = 1 + chance.Below(3); flips > 0; --flips) {
        const int at = chance.Below(journal.size());
        journal[at] = char(journal.at(at) ^ (1 << chance.Below(8)));
    }
    return journal;
}

QByteArray WithBytes(QByteArray journal, int length, char byte, Chance& chance)
{
    const int at = chance.Below(journal.size());
    return journal.replace(at, length,
                           QByteArray(std::min(length, int(journal.size()) - at), byte));
}

QByteArray WithHole(QByteArray journal, const QByteArray&, Chance& chance)
{
    return WithBytes(journal, 1 + chance.Below(2000), '\0', chance);
}

QByteArray WithSector(QByteArray journal, const QByteArray&, Chance& chance)
{
    const int at = 512 * chance.Below(journal.size() / 512 + 1);
    const int length = std::min(512 * (1 + chance.Below(4)), int(journal.size()) - at);
    return journal.replace(at, length, QByteArray(length, '\0'));
}

QByteArray WithNul(QByteArray journal, const QByteArray&, Chance& chance)
{
    return journal.insert(chance.Below(journal.size()), QByteArray(1 + chance.Below(9), '\0'));
}

QByteArray Truncated(QByteArray journal, const QByteArray&, Chance& chance)
{
    return journal.left(1 + chance.Below(journal.size()));
}

QByteArray TruncatedAtALine(QByteArray journal, const QByteArray&, Chance& chance)
{
    QList<QByteArray> lines = LinesOf(journal);
    return Joined(lines.mid(0, 1 + chance.Below(lines.size())));
}

QByteArray Spliced(QByteArray journal, const QByteArray& other, Chance& chance)
{
    QList<QByteArray> lines = LinesOf(journal);
    const QList<QByteArray> others = LinesOf(other);
    const int from = chance.Below(others.size());
    const QList<QByteArray> spliced = others.mid(from, 1 + chance.Below(5));
    const int at = chance.Below(lines.size());
    const int replaced = chance.Below(2) == 0 ? 0 : int(spliced.size());
    return Joined(lines.mid(0, at) + spliced + lines.mid(at + replaced));
}

QByteArray SplicedWithinALine(QByteArray journal, const QByteArray& other, Chance& chance)
{
    const int at = chance.Below(std::min(journal.size(), other.size()));
    const int length = 1 + chance.Below(600);
    return journal.replace(at, length, other.mid(at, length));
}

QByteArray WithoutLines(QByteArray journal, const QByteArray&, Chance& chance)
{
    QList<QByteArray> lines = LinesOf(journal);
    const int at = chance.Below(lines.size());
    return Joined(lines.mid(0, at) + lines.mid(at + 1 + chance.Below(4)));
}

QByteArray WithALineTwice(QByteArray journal, const QByteArray&, Chance& chance)
{
    QList<QByteArray> lines = LinesOf(journal);
    lines.insert(chance.Below(lines.size() + 1), lines.at(chance.Below(lines.size())));
    return Joined(lines);
}

QByteArray Reordered(QByteArray journal, const QByteArray&, Chance& chance)
{
    QList<QByteArray> lines = LinesOf(journal);
    lines.move(chance.Below(lines.size()), chance.Below(lines.size()));
    return Joined(lines);
}

QByteArray WithHostileJson(QByteArray journal, const QByteArray&, Chance& chance)
{
    const QList<QByteArray> hostile{
        QByteArray(200000, '['),
        R"({"event":"planned","file":"a.pdf","pages":2000000000,"results":[]})",
        R"({"event":"planned","file":"a.pdf","pages":-1,"results":{"path":7}})",
        R"({"event":"done","file":"a.pdf","results":[{"path":"list"}]})",
        R"({"event":"placing","path":"../../list","bytes":1e308,"xxh128":[]})",
        R"({"event":"begun","version":2,"session":"/","settings":[]})",
        R"({"event":"done","file":"c.pdf","results":[],"journal":"x","line":1e18,"sum":""})",
        R"({"event":null})",
        "null",
        "{}",
        ""};
    QList<QByteArray> lines = LinesOf(journal);
    const QByteArray& line = hostile.at(chance.Below(hostile.size()));
    const int at = chance.Below(lines.size());
    if (chance.Below(2) == 0)
        lines.insert(at, line);
    else
        lines.replace(at, line);
    return Joined(lines);
}

const Mutation mutations[] = {{"flipped bits", Flipped},
                              {"a hole", WithHole},
                              {"empty sectors", WithSector},
                              {"NULs within", WithNul},
                              {"truncated", Truncated},
                              {"truncated at a line", TruncatedAtALine},
                              {"lines of another journal", Spliced},
                              {"bytes of another journal", SplicedWithinALine},
                              {"lines dropped", WithoutLines},
                              {"a line twice", WithALineTwice},
                              {"a line elsewhere", Reordered},
                              {"hostile JSON", WithHostileJson}};

class JournalDamageTest : public TracedProgramTest
{
protected:
    /** A run that was killed: what it has left, and what there is once it has gone on. */
    struct World
    {
        std::string name;
        QByteArray journal;
        Files files;
        Files whole;
    };

    void SetUp() override
    {
        TracedProgramTest::SetUp();
        if (IsSkipped())
            return;
        ASSERT_TRUE(QDir(Path("")).mkdir("b"));
        MakeSample("a.pdf", 2);
        MakeSample("b/a.pdf", 2);
        MakeSample("c.pdf", 1, "pw");
        Write("list", "a.pdf\nb/a.pdf\nc.pdf\n");
        Write("other-list", "c.pdf\nb/a.pdf\n");
        ASSERT_TRUE(QDir(Path("")).mkdir("out"));
    }

    static QStringList Arguments(const char* list, const char* out, const char* journal)
    {
        return {"--from-list",     list, "-d", out, "-r",        "20",
                "--password-file", "pw", "-j", "1", "--journal", journal};
    }

    Outcome Convert() const { return ProgramTest::Run(Arguments("list", "out", "journal")); }

    Files Results() const
    {
        Files results;
        for (const std::string& name : NamesIn(Path("out").toStdString()))
            results[name] = ReadFile(Path("out/").toStdString() + name);
        return results;
    }

    void Restore(const QByteArray& journal, const Files& files) const
    {
        for (const auto& [name, content] : Results())
            std::remove((Path("out/").toStdString() + name).c_str());
        for (const auto& [name, content] : files)
            WriteFile(Path("out/").toStdString() + name, content);
        QFile::remove(Path("journal"));
        Write("journal", journal);
    }

    /** Leaves what a run leaves that is killed before one of its flushes of the journal. */
    void ConvertAndKill(int beforeFlush, bool isDisturbed) const
    {
        int flushes = 0;
        bool isToDisturb = isDisturbed;
        Run(Arguments("list", "out", "journal") + QStringList{"--temp-dir", TempDir()},
            [&](const Call& call) -> int {
                if (call.process != 0)
                    return Go;
                if (isToDisturb && call.number == SYS_renameat2) {
                    WriteFile(Path("out/a-1.png").toStdString(), "theirs, just now");
                    isToDisturb = false;
                }
                return call.number == SYS_fdatasync && ++flushes == beforeFlush ? Kill : Go;
            });
    }

    World MakeWorld(const std::string& name, const std::vector<int>& kills, bool isDisturbed) const
    {
        Restore("", {{"c-1.png", "theirs"}});
        QFile::remove(Path("journal"));
        for (const int flush : kills)
            ConvertAndKill(flush, isDisturbed);
        World world{name, Read("journal"), Results(), {}};
        const Outcome run = Convert();
        EXPECT_EQ(run.exitCode, 0) << name << run.complaints;
        world.whole = Results();
        return world;
    }

    std::vector<World> Worlds() const
    {
        constexpr int never = 1000;
        return {MakeWorld("whole", {never}, false),
                MakeWorld("killed early", {4}, false),
                MakeWorld("killed in the middle", {7}, false),
                MakeWorld("killed late", {10}, false),
                MakeWorld("killed twice", {5, 6}, false),
                MakeWorld("disturbed", {7}, true),
                MakeWorld("disturbed and killed late", {11}, true)};
    }
};

TEST_F(JournalDamageTest, LosesAndNumbersNothingUntold)
{
    const std::vector<World> worlds = Worlds();
    ASSERT_FALSE(HasFailure());
    ASSERT_EQ(worlds.front().whole.size(), 6u);
    ASSERT_EQ(worlds.back().whole.size(), 7u);
    ASSERT_EQ(ProgramTest::Run(Arguments("other-list", "elsewhere", "other")).exitCode, 0);
    const QByteArray other = Read("other");
    std::map<int, int> codes;
    int wrong = 0;
    const int stride = Stride(13);
    for (int number = 0; number < mutationsInAll; number += stride) {
        Chance chance(number);
        const Mutation& mutation = mutations[number % int(std::size(mutations))];
        const World& world = worlds.at(std::size_t(chance.Below(int(worlds.size()))));
        const QByteArray journal = mutation.apply(world.journal, other, chance);
        Restore(journal, world.files);
        const Outcome run = Convert();
        ++codes[run.exitCode];
        SCOPED_TRACE("mutation " + std::to_string(number) + ", " + mutation.name + ", of '" +
                     world.name + "'\n" + run.complaints);
        const bool isRefused = run.exitCode != 0 && run.exitCode != 3;
        const Files expected = isRefused ? world.files : world.whole;
        EXPECT_TRUE(Results() == expected)
            << testing::PrintToString(NamesIn(Path("out").toStdString()));
        wrong += Results() == expected ? 0 : 1;
        if (run.exitCode != 0) {
            EXPECT_THAT(run.complaints, HasSubstr("journal"));
        }
        EXPECT_THAT(run.exitCode, AnyOf(0, 2, 3, 4));
        EXPECT_EQ(LeftInTempDir(), QStringList());
        if (HasFailure())
            Write("damaged", journal);
    }
    std::printf("damaged journals: %d unnoticed, as nothing hung on it, %d told and made good, %d "
                "refused; %d with other files\n",
                codes[0], codes[3], codes[2] + codes[4], wrong);
}

} // namespace
} // namespace Korvel::Failing
