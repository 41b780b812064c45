#pragma once

#include <cstddef>
#include <map>
#include <utility>

#include <QString>

namespace Korvel::PDF {
class IFileSystem;
}

namespace Korvel::PDF::Converter {

/** Where results are to go, and from which input each is made. */
class PlannedPaths
{
public:
    /** @param inputs  paths that are planned from the start, and from which input each is made */
    explicit PlannedPaths(std::map<QString, QString> inputs = {}) : inputs(std::move(inputs)) {}

    void Add(const QString& path, const QString& input) { inputs[path] = input; }

    void Remove(const QString& path);

    std::size_t Count() const { return inputs.size(); }

    /** The name of the input whose result goes to `path`; null for none. */
    QString InputOf(const QString& path) const;

    /**
     * `wanted`, or the first of "name(2).suffix", "name(3).suffix" ... at which nothing exists and
     * to which no result goes. Literal: no character of the name has a meaning. What has been found
     * taken counts as taken from then on, so that many equal names cost no more than others.
     *
     * @param fileSystem  tells what exists; null where nothing does
     */
    QString FindFree(const QString& wanted, IFileSystem* fileSystem);

private:
    std::map<QString, QString> inputs;
    /** The lowest numbers that may be free, by wanted path. */
    std::map<QString, int> nextNumbers;
};

/** Whether `path` is `wanted`, or it with a number as FindFree gives it. */
bool IsNumbered(const QString& path, const QString& wanted);

} // namespace Korvel::PDF::Converter
