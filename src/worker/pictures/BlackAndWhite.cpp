#include "BlackAndWhite.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace Korvel::Worker {

namespace {

constexpr std::size_t bytesAtOnce = 1 << 20;
constexpr int white = 255;
constexpr int lightest = 127; // of those that become black

void ApplyThreshold(const unsigned char* row, int width, unsigned char* into)
{
    std::transform(row, row + width, into, [](unsigned char gray) {
        return static_cast<unsigned char>(gray > lightest ? white : 0);
    });
}

/** Hands what each pixel is too light or too dark on to those right of it and below. */
class Ditherer
{
public:
    explicit Ditherer(int width) : errors(std::size_t(width) + 2), below(errors.size()) {}

    void Restart() { std::fill(errors.begin(), errors.end(), 0); }

    void Apply(const unsigned char* row, int width, unsigned char* into)
    {
        constexpr int parts = 16;
        std::fill(below.begin(), below.end(), 0);
        for (int column = 0; column < width; ++column) {
            const auto at = std::size_t(column) + 1;
            const int wanted = row[column] + errors[at] / parts;
            const int given = wanted > lightest ? white : 0;
            const int error = wanted - given;
            into[column] = static_cast<unsigned char>(given);
            errors[at + 1] += error * 7;
            below[at - 1] += error * 3;
            below[at] += error * 5;
            below[at + 1] += error;
        }
        errors.swap(below);
    }

private:
    /** Sixteenths of a gray, for each pixel and one beyond each end. */
    std::vector<int> errors;
    std::vector<int> below;
};

} // namespace

DrawRows InBlackAndWhite(int width, BlackAndWhite how, DrawRows draw)
{
    const int most = std::max(1, int(bytesAtOnce / std::size_t(width)));
    const auto rows =
        std::make_shared<std::vector<unsigned char>>(std::size_t(width) * std::size_t(most));
    const auto ditherer = std::make_shared<Ditherer>(width);
    return [=, draw = std::move(draw)](int first) {
        if (first == 0)
            ditherer->Restart();
        const Rows gray = draw(first);
        const int count = std::min(gray.count, most);
        for (int row = 0; row < count; ++row) {
            const unsigned char* const from = gray.first + row * gray.stride;
            unsigned char* const into = rows->data() + std::size_t(row) * std::size_t(width);
            if (how == BlackAndWhite::Dither)
                ditherer->Apply(from, width, into);
            else
                ApplyThreshold(from, width, into);
        }
        return Rows{rows->data(), width, count};
    };
}

} // namespace Korvel::Worker
