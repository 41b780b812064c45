#pragma once

#include "FakeConverter.h"
#include "FakeFileSystem.h"
#include "FakeNameGenerator.h"
#include "FakePdfProvider.h"

namespace Korvel::PDF::Test {

/**
 * Files in memory that are in the working folder too, empty, as far as their folders exist: numbers
 * are looked for there.
 */
class NumberedFiles : public FakeFileSystem
{
public:
    using FakeFileSystem::FakeFileSystem;

    /** Removes the real files. */
    ~NumberedFiles() override;

    void Add(const std::string& path);
    bool Move(const ioPath& from, const ioPath& to) override;

private:
    void MakeReal(const std::string& path);

    std::vector<std::string> realFiles;
};

/**
 * The fakes around one stack of wrappers, and the trace that they all write. Paths are relative to
 * the working folder, of which there is one (WorkingFolder): so is there one world at a time.
 */
struct World
{
    /** The unencrypted copies that lie in the working folder, in order of their names. */
    static std::vector<std::string> Copies();

    void GiveUpShares();

    std::shared_ptr<CallJournal> trace = std::make_shared<CallJournal>();
    std::shared_ptr<FakeNameGenerator> names = std::make_shared<FakeNameGenerator>(trace);
    std::shared_ptr<FakePdfProvider> pdfs = std::make_shared<FakePdfProvider>(trace);
    std::shared_ptr<NumberedFiles> files = std::make_shared<NumberedFiles>("tmp", trace);
    std::shared_ptr<FakeConverter> converter = std::make_shared<FakeConverter>(trace);
};

} // namespace Korvel::PDF::Test
