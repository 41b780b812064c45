#pragma once

#include <QTemporaryDir>

namespace Korvel::PDF::Test {

/** The working folder as long as it lives, with what a World needs in it. */
class WorkingFolder
{
public:
    WorkingFolder();

private:
    const QTemporaryDir folder;
};

} // namespace Korvel::PDF::Test
