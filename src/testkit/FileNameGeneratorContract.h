#pragma once

#include "IFileNameGenerator.h"

#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>
#include <QTemporaryDir>

namespace Korvel::PDF::TestKit {

/** The generator that FileNameGeneratorContract checks. */
class FileNameGeneratorFixture : public testing::Test
{
public:
    /** The object to check, the same one during a test. */
    virtual IFileNameGenerator& Generator() = 0;
};

/**
 * Checks a generator of file names against everything that IFileNameGenerator promises.
 *
 *     class MyNamesTest : public Korvel::PDF::TestKit::FileNameGeneratorFixture
 *     {
 *     public:
 *         Korvel::PDF::IFileNameGenerator& Generator() override { return names; }
 *         MyNames names;
 *     };
 *
 *     using namespace Korvel::PDF::TestKit;
 *     INSTANTIATE_TYPED_TEST_SUITE_P(Mine, FileNameGeneratorContract, MyNamesTest);
 *
 * - Stems do not repeat; ten thousand of one generator are compared.
 * - A stem is UTF-8, is not empty, and holds no path separator, no NUL and no extension.
 * - Files and folders can be made that bear it, alone and as part of a longer name.
 */
template <typename Fixture>
class FileNameGeneratorContract : public Fixture
{
protected:
    /** The generator's next answers. */
    std::vector<std::string> Stems(int count)
    {
        IFileNameGenerator& generator = static_cast<FileNameGeneratorFixture&>(*this).Generator();
        std::vector<std::string> stems;
        for (int i = 0; i < count; ++i)
            stems.push_back(generator.GenerateFileName());
        return stems;
    }

    /** Whether `path` could be made, as a file or as a folder; it is removed again. */
    static bool CanBeAFile(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::WriteOnly | QIODevice::NewOnly) && file.remove();
    }
    /** The same for a folder. */
    static bool CanBeAFolder(const QString& path)
    {
        return QDir().mkdir(path) && QDir().rmdir(path);
    }
};

TYPED_TEST_SUITE_P(FileNameGeneratorContract);

TYPED_TEST_P(FileNameGeneratorContract, StemsDoNotRepeat)
{
    std::set<std::string> different;
    for (const std::string& stem : this->Stems(10'000))
        ASSERT_TRUE(different.insert(stem).second)
            << "IFileNameGenerator::GenerateFileName must never repeat a stem; it repeated \""
            << stem << "\" after " << different.size() << " calls";
}

TYPED_TEST_P(FileNameGeneratorContract, AStemIsUtf8)
{
    for (const std::string& stem : this->Stems(100))
        ASSERT_EQ(QString::fromStdString(stem).toStdString(), stem)
            << "IFileNameGenerator::GenerateFileName must answer UTF-8";
}

TYPED_TEST_P(FileNameGeneratorContract, AStemIsNotEmpty)
{
    for (const std::string& stem : this->Stems(100))
        ASSERT_FALSE(stem.empty())
            << "IFileNameGenerator::GenerateFileName must not answer an empty stem";
}

TYPED_TEST_P(FileNameGeneratorContract, AStemHoldsNoSeparatorAndNoNul)
{
    for (const std::string& stem : this->Stems(100)) {
        ASSERT_EQ(stem.find('/'), std::string::npos)
            << "IFileNameGenerator::GenerateFileName must answer a stem without a separator, not \""
            << stem << '"';
        ASSERT_EQ(stem.find('\0'), std::string::npos)
            << "IFileNameGenerator::GenerateFileName must answer a stem without a NUL";
    }
}

TYPED_TEST_P(FileNameGeneratorContract, AStemHasNoExtension)
{
    for (const std::string& stem : this->Stems(100))
        ASSERT_EQ(QFileInfo(QString::fromStdString(stem)).suffix().toStdString(), "")
            << "IFileNameGenerator::GenerateFileName must answer a stem without an extension, not "
               "\""
            << stem << '"';
}

TYPED_TEST_P(FileNameGeneratorContract, AStemNamesFilesAndFolders)
{
    const QTemporaryDir folder;
    for (const std::string& stem : this->Stems(20)) {
        const QString name = QString::fromStdString(stem);
        for (const QString& file : {name, name + QStringLiteral(".pdf")})
            ASSERT_TRUE(this->CanBeAFile(folder.filePath(file)))
                << "IFileNameGenerator::GenerateFileName must answer a stem that can name a file, "
                << "which cannot be said of \"" << stem << '"';
        for (const QString& inside : {name, QStringLiteral("PDFConverter") + name})
            ASSERT_TRUE(this->CanBeAFolder(folder.filePath(inside)))
                << "IFileNameGenerator::GenerateFileName must answer a stem that can name a "
                   "folder, "
                << "which cannot be said of \"" << stem << '"';
    }
}

REGISTER_TYPED_TEST_SUITE_P(FileNameGeneratorContract, StemsDoNotRepeat, AStemIsUtf8,
                            AStemIsNotEmpty, AStemHoldsNoSeparatorAndNoNul, AStemHasNoExtension,
                            AStemNamesFilesAndFolders);

} // namespace Korvel::PDF::TestKit
