#include "Result.h"

#include <QFileInfo>

namespace Korvel::App {

QJsonObject ToJson(const Result& result)
{
    QJsonObject object{{"path", result.path}};
    if (result.page > 0)
        object["page"] = result.page;
    return object;
}

QJsonArray PlannedToJson(const std::vector<Result>& results)
{
    QJsonArray array;
    for (const Result& result : results)
        array.append(ToJson(result));
    return array;
}

QJsonArray ToJson(const std::vector<Result>& results)
{
    QJsonArray array;
    for (const Result& result : results) {
        QJsonObject object = ToJson(result);
        if (const QFileInfo file(result.path); file.exists())
            object["bytes"] = file.size();
        array.append(object);
    }
    return array;
}

} // namespace Korvel::App
