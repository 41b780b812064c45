#include "PlannedPaths.h"

#include "IFileSystem.h"
#include "LocalFileSystem.h"
#include "SessionFolder.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

namespace Korvel::PDF::Converter {
namespace {

/** Counts what it is asked, and has nothing. */
class EmptyFileSystem : public IFileSystem
{
public:
    ioPath GetTempFolder() override { return {}; }
    bool RemoveFolder(const ioPath&) override { return false; }
    bool Move(const ioPath&, const ioPath&) override { return false; }
    bool CreateFolder(const ioPath&) override { return false; }
    bool Exists(const ioPath&) override
    {
        ++questions;
        return false;
    }

    int questions = 0;
};

TEST(PlannedPaths, OfEqualNamesCostNoMoreThanOthers)
{
    EmptyFileSystem fileSystem;
    PlannedPaths plan;
    for (int i = 0; i < 1000; ++i)
        plan.Add(plan.FindFree("a.png", &fileSystem), "a.pdf");
    EXPECT_EQ(plan.InputOf("a(1000).png"), "a.pdf");
    EXPECT_EQ(plan.Count(), 1000U);
    plan.Remove("a(7).png");
    EXPECT_EQ(plan.FindFree("a.png", &fileSystem), "a(7).png");
    EXPECT_LT(fileSystem.questions, 2000);
}

class PlannedPathsTest : public testing::Test
{
protected:
    QString Path(const QString& name) const { return folder.filePath(name); }

    void Make(const QString& name) const
    {
        QFile file(Path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }

    PlannedPaths plan;
    std::string error;
    QTemporaryDir folder;
    LocalFileSystem fileSystem{SessionFolder::Create(folder.path().toStdString(), error)};
};

TEST_F(PlannedPathsTest, IsTheWantedOneWhenNothingIsThere)
{
    EXPECT_EQ(plan.FindFree(Path("a.png"), &fileSystem), Path("a.png"));
}

TEST_F(PlannedPathsTest, IsTheFirstFreeNumberFromTwo)
{
    Make("a.png");
    EXPECT_EQ(plan.FindFree(Path("a.png"), &fileSystem), Path("a(2).png"));
    Make("a(2).png");
    Make("a(4).png");
    EXPECT_EQ(plan.FindFree(Path("a.png"), &fileSystem), Path("a(3).png"));
}

TEST_F(PlannedPathsTest, KeepsOutOfThePlan)
{
    Make("a.png");
    plan.Add(Path("a(2).png"), "a.pdf");
    plan.Add(Path("b.png"), "b.pdf");
    EXPECT_EQ(plan.FindFree(Path("a.png"), &fileSystem), Path("a(3).png"));
    EXPECT_EQ(plan.FindFree(Path("b.png"), &fileSystem), Path("b(2).png"));
}

TEST_F(PlannedPathsTest, TakesEveryCharacterOfTheNameLiterally)
{
    for (const QString base : {"out(3)", "[draft]", "a+b", "C++", "What?", "a|b", "a(b", "x.*"}) {
        Make(base + ".png");
        EXPECT_EQ(plan.FindFree(Path(base + ".png"), &fileSystem), Path(base + "(2).png"));
    }
}

TEST_F(PlannedPathsTest, PutsTheNumberAtTheEndOfANameWithoutASuffix)
{
    Make("page");
    EXPECT_EQ(plan.FindFree(Path("page"), &fileSystem), Path("page(2)"));
}

TEST_F(PlannedPathsTest, CountsADanglingLinkAsTaken)
{
    ASSERT_TRUE(QFile::link(Path("nowhere"), Path("a.png")));
    EXPECT_EQ(plan.FindFree(Path("a.png"), &fileSystem), Path("a(2).png"));
}

} // namespace
} // namespace Korvel::PDF::Converter
