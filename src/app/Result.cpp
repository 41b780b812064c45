#include "Result.h"

#include <QFileInfo>
#include <QJsonObject>

namespace Korvel::App {

QJsonArray ToJson(const std::vector<Result>& results)
{
    QJsonArray array;
    for (const Result& result : results) {
        QJsonObject object{{QStringLiteral("path"), result.path}};
        if (result.page > 0)
            object[QStringLiteral("page")] = result.page;
        if (const QFileInfo file(result.path); file.exists())
            object[QStringLiteral("bytes")] = file.size();
        array.append(object);
    }
    return array;
}

} // namespace Korvel::App
