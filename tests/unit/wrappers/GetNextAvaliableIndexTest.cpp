#include "GetNextAvaliableIndex.h"

#include <cerrno>
#include <fstream>
#include <ostream>
#include <set>
#include <vector>

#include <dirent.h>
#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

namespace {

bool readingFails = false;

} // namespace

/** Takes the system's place, for a volume that breaks while a folder is read. */
extern "C" __attribute__((visibility("default"))) dirent* readdir(DIR* folder)
{
    static const auto next = reinterpret_cast<dirent* (*)(DIR*)>(::dlsym(RTLD_NEXT, "readdir"));
    if (!readingFails)
        return next(folder);
    errno = EIO;
    return nullptr;
}

namespace Korvel::PDF::Test {

namespace {

using Util::GetNextAvaliableIndex;

static_assert(std::is_same_v<decltype(&GetNextAvaliableIndex),
                             std::string (*)(const ioPath& folder, const std::regex& pattern)>);

/** The pattern that the temporary-file wrapper builds for a wanted file. */
std::regex Pattern(const std::string& baseName, const std::string& suffix)
{
    return std::regex(baseName + R"(\((\d+)\)\.)" + suffix, std::regex::icase);
}

/** A wanted name, the entries of its folder, and the index that is free. */
struct Row
{
    std::string name;
    std::string baseName;
    std::string suffix;
    std::vector<std::string> entries;
    std::string index;
};

std::ostream& operator<<(std::ostream& stream, const Row& row)
{
    return stream << row.baseName << '.' << row.suffix;
}

const std::string manyNines(200, '9');

const std::vector<Row> rows{
    {"NoNumberedFileYet", "report", "pdf", {"report.pdf"}, "2"},
    {"AnEmptyFolder", "report", "pdf", {}, "2"},
    {"OneNumberedFile", "report", "pdf", {"report.pdf", "report(2).pdf"}, "3"},
    {"ARowOfNumberedFiles", "r", "pdf", {"r(2).pdf", "r(3).pdf", "r(4).pdf"}, "5"},
    {"MoreThanNine",
     "r",
     "pdf",
     {"r(2).pdf", "r(3).pdf", "r(4).pdf", "r(5).pdf", "r(6).pdf", "r(7).pdf", "r(8).pdf",
      "r(9).pdf", "r(10).pdf"},
     "11"},
    {"AGapIsFilled", "report", "pdf", {"report(2).pdf", "report(4).pdf"}, "3"},
    {"TheNumbersZeroAndOneAreNotAnswered", "report", "pdf", {"report(0).pdf"}, "2"},
    {"ZeroAndOneTakeNothing", "report", "pdf", {"report(0).pdf", "report(1).pdf"}, "2"},
    {"LeadingZerosTakeNothing", "report", "pdf", {"report(02).pdf", "report(002).pdf"}, "2"},
    {"AnotherCase", "report", "pdf", {"REPORT(2).PDF", "Report(3).pdf"}, "4"},
    {"AnotherBaseName", "report", "pdf", {"letter(2).pdf", "report2(2).pdf"}, "2"},
    {"ALongerBaseName",
     "report",
     "pdf",
     {"my report(2).pdf", "my-report(2).pdf", "my_report(2).pdf", "report9(2).pdf"},
     "2"},
    {"AnotherSuffix", "report", "pdf", {"report(2).txt", "report(2).pdfx"}, "2"},
    {"ABlankBeforeTheParenthesis", "report", "pdf", {"report (2).pdf"}, "2"},
    {"NoDigitsInTheParentheses", "report", "pdf", {"report().pdf", "report(a).pdf"}, "2"},
    {"NoSuffixAfterTheNumber", "report", "pdf", {"report(2)"}, "2"},
    {"HundredsOfDigits", "report", "pdf", {"report(" + manyNines + ").pdf"}, "2"},
    {"HundredsOfDigitsBesideATakenNumber",
     "report",
     "pdf",
     {"report(" + manyNines + ").pdf", "report(2).pdf"},
     "3"},
    {"AsManyDigitsAsFitAndMore",
     "report",
     "pdf",
     {"report(9999999999999999999).pdf", "report(99999999999999999999).pdf", "report(2).pdf"},
     "3"},
    {"MoreThanSixtyFourBits", "report", "pdf", {"report(18446744073709551618).pdf"}, "2"},
    {"NumbersThatAreTakenTwice",
     "report",
     "pdf",
     {"report(2).pdf", "REPORT(2).pdf", "Report(2).PDF", "report(3).pdf"},
     "4"},
    {"AnotherHeadWithTheNextNumber", "report", "pdf", {"report(2).pdf", "letter(3).pdf"}, "3"},
    {"AnotherTailWithTheNextNumber", "report", "pdf", {"report(2).pdf", "report(3).txt"}, "3"},
    {"SeriesThatAlternate",
     "report",
     "pdf",
     {"letter(2).pdf", "report(2).pdf", "letter(3).pdf", "report(3).txt", "report(4).pdf",
      "letter(4).pdf", "a.b(3).pdf", "letter(5).pdf"},
     "5"},
    {"AnEmptyBaseName", "", "pdf", {"(2).pdf"}, "3"},
    {"AnEmptyBaseNameAndSuffix", "", "", {"(2)."}, "3"},
    {"AnEmptySuffix", "report", "", {"report(2)."}, "3"},
    {"ASuffixThatWasMendedToALoneDot", "report.pdf", "", {"report.pdf(2)."}, "3"},
    {"BlanksUnderscoresAndHyphens", "my re-port_1", "pdf", {"my re-port_1(2).pdf"}, "3"},

    {"AParenthesisedNumber", "out(3)", "pdf", {"out(3).pdf", "out(3)(2).pdf"}, "3"},
    {"AParenthesisedNumberWithoutCopies", "out(3)", "pdf", {"out(3).pdf"}, "2"},
    {"WhatThePatternOfAParenthesisedNumberDescribes", "out(3)", "pdf", {"out3(2).pdf"}, "2"},
    {"TheWantedNameItselfCountsForItsNumber", "out(2)", "pdf", {"out(2).pdf"}, "2"},
    {"Brackets", "[draft]", "pdf", {"[draft](2).pdf"}, "3"},
    {"WhatThePatternOfBracketsDescribes", "[draft]", "pdf", {"d(2).pdf"}, "3"},
    {"APlus", "a+b", "pdf", {"a+b(2).pdf"}, "3"},
    {"TwoPluses", "C++", "pdf", {"C++(2).pdf"}, "3"},
    {"AQuestionMark", "What?", "pdf", {"What?(2).pdf"}, "3"},
    {"ABar", "a|b", "pdf", {"a|b(2).pdf"}, "3"},
    {"ADollarAndACaret", "^a$", "pdf", {"^a$(2).pdf"}, "3"},
    {"Braces", "a{2}", "pdf", {"a{2}(2).pdf"}, "3"},
    {"ABackslash", R"(a\d)", "pdf", {R"(a\d(2).pdf)"}, "3"},
    {"SeveralDots", "archive.tar", "gz", {"archive.tar(2).gz", "archive.tar(3).gz"}, "4"},
    {"ANewLine", "a\nb", "pdf", {"a\nb(2).pdf"}, "3"},
    {"NonAsciiLetters", "Übersicht 文書 😀", "pdf", {"Übersicht 文書 😀(2).pdf"}, "3"},
    {"ANonAsciiSuffix", "report", "ä", {"report(2).ä"}, "3"},
    {"GroupsInTheBaseName", "(a)(b)", "pdf", {"(a)(b)(2).pdf"}, "3"},
    {"WhatThePatternOfGroupsDescribes", "(a)(b)", "pdf", {"ab(2).pdf"}, "2"},
    {"AGroupThatHoldsTheNumber", "(2)", "pdf", {"2(2).pdf"}, "3"},
    {"AGroupThatHoldsTheNumberByWhichAllAreJudged", "(2)", "pdf", {"2(2).pdf", "2(3).pdf"}, "4"},
    {"AGroupThatHoldsAnotherNumber", "(3)", "pdf", {"3(2).pdf", "3(3).pdf"}, "2"},
    {"ASpecialCharacterInTheSuffix", "report", "p+f", {"report(2).p+f"}, "3"},
    {"ANumberThatIsNotClosed", "a+b", "pdf", {"a+b(2x.pdf"}, "2"},
    {"ANumberThatIsNotOpened", "a+b", "pdf", {"a+b2).pdf"}, "2"},
    {"AnotherFileWithASpecialCharacterTakesItsNumberToo", "report", "pdf", {"a.b(2).txt"}, "3"},
};

class FolderTest : public testing::Test
{
protected:
    void MakeFile(const std::string& name)
    {
        ASSERT_TRUE(std::ofstream(Path() + "/" + name).good()) << name;
    }

    std::string Path() const { return folder.path().toStdString(); }

    std::string Next(const std::regex& pattern) const
    {
        return GetNextAvaliableIndex(ioPath(Path()), pattern);
    }

    QTemporaryDir folder;
};

class NumberedNamesTableTest : public FolderTest, public testing::WithParamInterface<Row>
{
};

} // namespace

TEST_P(NumberedNamesTableTest, AnswersTheSmallestFreeNumber)
{
    for (const std::string& entry : GetParam().entries)
        MakeFile(entry);
    EXPECT_EQ(Next(Pattern(GetParam().baseName, GetParam().suffix)), GetParam().index);
}

INSTANTIATE_TEST_SUITE_P(, NumberedNamesTableTest, testing::ValuesIn(rows),
                         [](const auto& row) { return row.param.name; });

TEST_F(FolderTest, AnswersIndexesWhoseNamesAreFreeForEveryKindOfName)
{
    for (const Row& row : rows) {
        for (int i = 2; i <= 4; ++i) {
            const std::string name =
                row.baseName + "(" + Next(Pattern(row.baseName, row.suffix)) + ")." + row.suffix;
            ASSERT_FALSE(QFile::exists(QDir(folder.path()).filePath(QString::fromStdString(name))))
                << name;
            MakeFile(name);
        }
    }
}

TEST_F(FolderTest, CountsAFolderAsAnEntry)
{
    ASSERT_TRUE(QDir(folder.path()).mkdir("report(2).pdf"));
    EXPECT_EQ(Next(Pattern("report", "pdf")), "3");
}

TEST_F(FolderTest, CountsADanglingLinkAsAnEntry)
{
    ASSERT_TRUE(QFile::link("nowhere", folder.filePath("report(2).pdf")));
    EXPECT_EQ(Next(Pattern("report", "pdf")), "3");
}

TEST_F(FolderTest, LooksIntoTheFolderAndNotBelowIt)
{
    ASSERT_TRUE(QDir(folder.path()).mkdir("below"));
    MakeFile("below/report(2).pdf");
    EXPECT_EQ(Next(Pattern("report", "pdf")), "2");
}

TEST_F(FolderTest, APatternWithoutAGroupDescribesNoNumber)
{
    MakeFile("report(2).pdf");
    EXPECT_EQ(Next(std::regex(R"(report\(\d+\)\.pdf)")), "2");
}

TEST_F(FolderTest, APatternIsAskedAboutTheNumberTwoAlone)
{
    MakeFile("report(2).pdf");
    MakeFile("report(3).pdf");
    EXPECT_EQ(Next(std::regex(R"(report\((2)\)\.pdf)")), "4");
    EXPECT_EQ(Next(std::regex(R"(report\((3)\)\.pdf)")), "2");
}

TEST_F(FolderTest, APatternWithoutTheCaseFlagTellsTheCasesApart)
{
    MakeFile("REPORT(2).PDF");
    EXPECT_EQ(Next(std::regex(R"(report\((\d+)\)\.pdf)")), "2");
}

TEST_F(FolderTest, AFolderWithANonAsciiNameIsRead)
{
    ASSERT_TRUE(QDir(folder.path()).mkdir("Übung 文書 😀"));
    MakeFile("Übung 文書 😀/report(2).pdf");
    const ioPath nonAscii(Path() + "/Übung 文書 😀");
    EXPECT_EQ(GetNextAvaliableIndex(nonAscii, Pattern("report", "pdf")), "3");
}

TEST_F(FolderTest, AMissingFolderCountsAsEmpty)
{
    EXPECT_EQ(GetNextAvaliableIndex(ioPath(Path() + "/missing"), Pattern("report", "pdf")), "2");
    EXPECT_EQ(GetNextAvaliableIndex(ioPath(), Pattern("report", "pdf")), "2");
}

TEST_F(FolderTest, AFileInPlaceOfTheFolderCountsAsEmpty)
{
    MakeFile("file");
    EXPECT_EQ(GetNextAvaliableIndex(ioPath(Path() + "/file"), Pattern("report", "pdf")), "2");
}

/** A folder in which 2 is taken, and which at times cannot be listed. */
class UnlistedFolderTest : public FolderTest
{
protected:
    void SetUp() override { MakeFile("report(2).pdf"); }

    std::string Next() const { return FolderTest::Next(Pattern("report", "pdf")); }

    /** As a user whom the folder's permissions concern: the administrator reads every folder. */
    std::string NextWithPermissions(mode_t mode) const
    {
        EXPECT_EQ(::chmod(Path().c_str(), mode), 0);
        const uid_t user = ::geteuid();
        const bool isAdministrator = user == 0;
        EXPECT_EQ(isAdministrator ? ::seteuid(65534) : 0, 0);
        std::string index = Next();
        EXPECT_EQ(isAdministrator ? ::seteuid(user) : 0, 0);
        EXPECT_EQ(::chmod(Path().c_str(), 0700), 0);
        return index;
    }

    std::string NextWithoutDescriptors() const
    {
        rlimit before;
        EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
        const rlimit none{0, before.rlim_max};
        EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
        std::string index = Next();
        EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
        return index;
    }

    const testing::Matcher<std::string> isNumberOfNoFile = testing::MatchesRegex("[1-9][0-9]{14}");
};

TEST_F(UnlistedFolderTest, WithoutADescriptorLeftNoTakenNumberIsAnswered)
{
    EXPECT_THAT(NextWithoutDescriptors(), isNumberOfNoFile);
    EXPECT_EQ(Next(), "3");
}

TEST_F(UnlistedFolderTest, WithoutPermissionToReadNoTakenNumberIsAnswered)
{
    EXPECT_THAT(NextWithPermissions(0311), isNumberOfNoFile);
    EXPECT_EQ(Next(), "3");
}

TEST_F(UnlistedFolderTest, WithoutAnyPermissionNoTakenNumberIsAnswered)
{
    EXPECT_THAT(NextWithPermissions(0), isNumberOfNoFile);
    EXPECT_EQ(Next(), "3");
}

TEST_F(UnlistedFolderTest, WhenReadingFailsOnItsWayNoTakenNumberIsAnswered)
{
    readingFails = true;
    const std::string index = Next();
    readingFails = false;
    EXPECT_THAT(index, isNumberOfNoFile);
    EXPECT_EQ(Next(), "3");
}

TEST_F(UnlistedFolderTest, TheNextResultGetsAnotherNumber)
{
    std::set<std::string> indexes;
    for (int i = 0; i < 100; ++i)
        indexes.insert(NextWithoutDescriptors());
    EXPECT_THAT(indexes, testing::SizeIs(100));
}

} // namespace Korvel::PDF::Test
