#pragma once

#include "IFileNameGenerator.h"

#include <atomic>

#include <QUuid>

//! [names]
/** Names such as 1b4e28ba-2fa1-41d2-983f-0016d3cca427-7, which sort by when they were made. */
class SequenceNames : public Korvel::PDF::IFileNameGenerator
{
public:
    std::string GenerateFileName() override { return prefix + std::to_string(++last); }

private:
    const std::string prefix =
        QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString() + '-';
    std::atomic<unsigned> last = 0; // one generator may serve several objects
};
//! [names]
