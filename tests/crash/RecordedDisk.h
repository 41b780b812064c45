#pragma once

#include "Tracer.h"

#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <sys/stat.h>

namespace Korvel::Failing {

/** What a loss of power leaves of what was written and not flushed. */
enum class Survivors {
    Everything, ///< as when processes are killed
    Nothing,
    Names,         ///< and of files what was flushed
    NamesAndZeros, ///< and files as long as they were, with zeros in them
    NamesAndHalves,
    Contents, ///< of those files that have a name
    Some,     ///< any of the names, and any of the sectors
};

/**
 * Writes down what a traced program changes in some folders, and says what a loss of power can
 * leave of it.
 *
 * The model: what was written to a file is sure to be there once the file is flushed, and a name
 * once its folder is; a renaming is sure when either folder is, and happens as a whole. All else
 * may be there or not, in any order; of a file each sector of 512 bytes by itself, with zeros where
 * there was none before. Rights are set at once.
 */
class RecordedDisk
{
public:
    /** What is below the folders now is there for good. */
    explicit RecordedDisk(std::vector<std::string> roots);

    /** Takes down what a call has changed. */
    void Record(const Call& call, long answer);

    std::size_t Steps() const { return steps.size() - begin; }

    /** A step for messages. */
    const std::string& Told(std::size_t step) const { return steps.at(begin + step).told; }

    /** A file or folder that is left. */
    struct Left
    {
        bool isFolder;
        mode_t mode;
        std::string content;

        bool operator<(const Left& other) const
        {
            return std::tie(isFolder, mode, content) <
                   std::tie(other.isFolder, other.mode, other.content);
        }
    };
    using Image = std::map<std::string, Left>;

    /** What is left, by path, of what was there before the step. */
    Image After(std::size_t step, Survivors survivors, unsigned seed) const;

    /** Makes the folders what the image says. */
    void Restore(const Image& image) const;

private:
    struct Node
    {
        bool isFolder;
        mode_t mode;
    };

    struct Place
    {
        int folder;
        std::string name;
    };

    struct Step
    {
        enum Kind { Put, Move, Take, Content, Flush } kind;
        int node;
        Place to;
        Place from;
        std::string content;
        std::string told;
    };

    struct State;

    int Find(const std::string& path) const;
    int Add(const struct stat& status);
    Place PlaceOf(const std::string& path) const;
    void Take(Step step);
    void Opened(const Call& call, long answer, const std::string& path);
    void Named(const std::string& path);
    void Changed(const std::string& path);
    void Flushed(const std::string& path);
    std::string Content(const State& state, int node, Survivors survivors,
                        std::mt19937& chance) const;

    const std::vector<std::string> roots;
    std::vector<Node> nodes;
    std::vector<Step> steps;
    /** What is there now, by path. */
    std::map<std::string, int> tree;
    std::map<std::pair<dev_t, ino_t>, int> known;
    std::map<int, std::string> contents;
    /** How many steps made what was there from the beginning. */
    std::size_t begin = 0;
    /** The call that is being taken down. */
    std::string told;
};

} // namespace Korvel::Failing
