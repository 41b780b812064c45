#include "JournalSettings.h"

#include "OutputOptions.h"
#include "PageOptions.h"

#include <QDir>
#include <QVariant>

namespace Korvel::App {

namespace {

/** The pixels that a picture fits into; empty where its resolution decides. */
QString SizeOf(const PageOptions& pages)
{
    if (!pages.size.isValid())
        return {};
    return QStringLiteral("%1x%2").arg(pages.size.width()).arg(pages.size.height());
}

} // namespace

QJsonObject JournalSettings(const OutputOptions& output, const PageOptions& pages)
{
    return {{"folder", QDir::currentPath()},
            {"output", QString::fromStdString(output.path)},
            {"beside", output.isBeside},
            {"format", QString::fromStdString(output.format)},
            {"linearize", output.isLinearized},
            {"on-exists", onExistsWords.at(std::size_t(output.onExists))},
            {"pages", QString::fromStdString(pages.ranges)},
            {"gray", pages.gray},
            {"quality", pages.quality},
            {"compression", QString::fromStdString(pages.compression)},
            {"resolution", pages.size.isValid() ? 0 : pages.resolution},
            {"native", pages.isNative},
            {"size", SizeOf(pages)},
            {"box", QString::fromStdString(pages.box)},
            {"crop", pages.part ? pages.part->ToText() : QString()},
            {"rotate", QString::fromStdString(pages.rotation)},
            {"mono", pages.mono},
            {"dither", pages.dithers},
            {"transparent", pages.transparent},
            {"no-dehyphenate", pages.keepsHyphens},
            {"layout", pages.isLaidOut}};
}

std::string Differences(const QJsonObject& before, const QJsonObject& now)
{
    std::string differences;
    for (auto entry = now.begin(); entry != now.end(); ++entry) {
        const QString key = entry.key();
        if (!before.contains(key) || before[key] == entry.value())
            continue;
        const auto text = [](const QJsonValue& value) {
            return value.toVariant().toString().toStdString();
        };
        differences += (differences.empty() ? "" : ", ") + key.toStdString() + " was '" +
                       text(before[key]) + "' and is '" + text(entry.value()) + "'";
    }
    return differences;
}

} // namespace Korvel::App
