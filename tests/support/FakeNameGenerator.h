#pragma once

#include "CallJournal.h"
#include "IFileNameGenerator.h"

#include <deque>

namespace Korvel::PDF::Test {

/** Hands out the stems that a test gives it, and stem1, stem2 … when there are none. */
class FakeNameGenerator : public IFileNameGenerator
{
public:
    explicit FakeNameGenerator(std::shared_ptr<CallJournal> journal);
    ~FakeNameGenerator() override;

    std::string GenerateFileName() override;

    /** The next stems, first to last. */
    std::deque<std::string> given;

private:
    const std::shared_ptr<CallJournal> journal;
    int count = 0;
};

} // namespace Korvel::PDF::Test
