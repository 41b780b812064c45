#pragma once

#include "PictureShape.h"
#include "PngForm.h"
#include "Rows.h"

#include <cstdint>
#include <vector>

namespace Korvel::Worker {

/** What is seen of a picture in the rows that come first, mostly all of them. */
class PngLook
{
public:
    PngLook(const PictureShape& shape, const Rows& rows);

    const PngForm& Form() const { return form; }

    /** A row's grays, or numbers of the palette; null where none were noted. */
    const unsigned char* Row(int row) const;

    /** Takes the next form that more pictures are of. */
    void Widen();

private:
    void LookAt(const Rows& rows);
    void LookAtGrays(const Rows& rows);
    void LookAtColors(const Rows& rows);
    bool DoFiltersPay(const Rows& rows) const;
    bool HasShades(const Rows& rows) const;
    std::uint64_t PackedSample(const Rows& rows, bool isFiltered) const;

    const PictureShape& shape;
    PngForm form;
    /** A byte a pixel. */
    std::vector<unsigned char> noted;
    int notedRows = 0;
};

} // namespace Korvel::Worker
