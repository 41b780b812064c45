#include "TempFileWrapper.h"
#include "UnencryptDocWrapper.h"

namespace Korvel::PDF::Converter {

namespace {

using Translate = QString (*)(const char* sourceText, const char* disambiguation, int n);

QT_WARNING_PUSH
QT_WARNING_DISABLE_DEPRECATED

/** Q_OBJECT defines them inline; a caller that does not inline them finds them in the library. */
[[gnu::used]] const Translate exported[]
{
    TempFileWrapper::tr, UnencryptDocWrapper::tr,
#if QT_VERSION_MAJOR < 6
        TempFileWrapper::trUtf8, UnencryptDocWrapper::trUtf8
#endif
};

QT_WARNING_POP

} // namespace

} // namespace Korvel::PDF::Converter
