#pragma once

#include "RequestError.h"

#include <string>

#include <QtGlobal>

namespace Korvel::Worker {

/** A page that is missing in a result of several. */
struct FailedPage
{
    /** From 1. */
    qint64 page;
    Reason reason;
    std::string message;
};

} // namespace Korvel::Worker
