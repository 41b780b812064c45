#include "FileNames.h"

#include <QtGlobal>

#if QT_VERSION_MAJOR < 6
#include <QTextCodec>
#else
#include <clocale>
#include <cstdlib>
#include <string_view>

#include <langinfo.h>
#endif

namespace Korvel {

#if QT_VERSION_MAJOR < 6

void NameFilesInUtf8()
{
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
}

#else

// Qt 6 names them in no other way, but complains where the locale does.
void NameFilesInUtf8()
{
    std::setlocale(LC_ALL, "");
    if (std::string_view(::nl_langinfo(CODESET)) != "UTF-8")
        ::setenv("LC_ALL", "C.UTF-8", 1);
}

#endif

} // namespace Korvel
