#pragma once

namespace Korvel::Worker {

/** Points, and at 72 dots per inch pixels, of the page of `warmUpDocument`. */
inline constexpr int warmUpSide = 9;

/**
 * A page of a gray square and a black frame. It has no text: the search for fonts takes long where
 * there are many, and not all documents need it.
 */
inline constexpr char warmUpDocument[] = R"(%PDF-1.4
1 0 obj
<</Type/Catalog/Pages 2 0 R>>
endobj
2 0 obj
<</Type/Pages/Kids[3 0 R]/Count 1>>
endobj
3 0 obj
<</Type/Page/Parent 2 0 R/MediaBox[0 0 9 9]/Contents 4 0 R>>
endobj
4 0 obj
<</Length 35>>
stream
.5 g 1 1 5 5 re f 0 g
2 2 5 5 re s
endstream
endobj
xref
0 5
0000000000 65535 f 
0000000009 00000 n 
0000000054 00000 n 
0000000105 00000 n 
0000000181 00000 n 
trailer
<</Size 5/Root 1 0 R>>
startxref
263
%%EOF
)";

} // namespace Korvel::Worker
