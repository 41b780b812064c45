#include "FakeNameGenerator.h"

namespace Korvel::PDF::Test {

FakeNameGenerator::FakeNameGenerator(std::shared_ptr<CallJournal> journal)
    : journal(std::move(journal))
{
}

FakeNameGenerator::~FakeNameGenerator()
{
    journal->push_back("~FakeNameGenerator");
}

std::string FakeNameGenerator::GenerateFileName()
{
    journal->push_back("GenerateFileName");
    if (given.empty())
        return "stem" + std::to_string(++count);
    std::string stem = given.front();
    given.pop_front();
    return stem;
}

} // namespace Korvel::PDF::Test
