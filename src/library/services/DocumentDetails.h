#pragma once

#include <vector>

#include <QString>

namespace Korvel::PDF {

/** What is in a PDF, as far as its own objects tell; nothing of it is drawn. */
struct DocumentDetails
{
    /** Pages from the first to the last one. */
    struct Pages
    {
        int first = 0; ///< counted from 1
        int last = 0;  ///< likewise
    };

    /** Pages in a row that are alike. */
    struct Size
    {
        Pages pages; ///< which they are
        /** In points, of the crop box as it is shown, turned. */
        double width = 0;
        double height = 0; ///< likewise
        /** By how many degrees they are turned clockwise: 0, 90, 180 or 270. */
        int rotation = 0;
    };

    /** Pages that are numbered in a row; PageLabel() tells the label of one. */
    struct Labels
    {
        /** How their numbers are written. */
        enum class Numbering {
            None, ///< not at all
            Decimal,
            LowerRoman,
            UpperRoman,
            LowerLetters, ///< a to z, aa to zz ...
            UpperLetters  ///< likewise
        };

        Pages pages; ///< which they are
        /** Stands before each number. */
        QString prefix;
        Numbering numbering = Numbering::None; ///< of each of them
        int start = 1;                         ///< the number of the first of them, from 1
    };

    /** A font that pages name. */
    struct Font
    {
        /** Without the letters that tell subsets from each other. */
        QString name;
        /** "Type1", "TrueType", "CIDFontType2" and so on. */
        QString type;
        bool isEmbedded = false; ///< and not left to who shows the document
    };

    /** A field for a signature. */
    struct Signature
    {
        /** The whole name of its field. */
        QString field;
        /** False where the field waits for one. Whether a signature holds is not looked at. */
        bool isSigned = false;
        /** Who has signed, as the signature says; empty where it does not. */
        QString name;
    };

    /** A file within the document. */
    struct Attachment
    {
        QString name; ///< as the document lists it
        /** As the document says; -1 where it does not. */
        qint64 bytes = -1;
    };

    /** Of each of the following there are so many at most; further ones are left away. */
    static constexpr int most = 5'000;

    std::vector<Size> sizes; ///< of all pages, in their order
    /** What viewers show in place of the pages' numbers; empty where it is the numbers. */
    std::vector<Labels> labels;
    /** The pages whose content shows text, hidden text as of scans included. */
    std::vector<Pages> withText;
    /** The fonts of all pages, each once, by name. */
    std::vector<Font> fonts;
    /** How many fields a user can fill in, push or sign. */
    int fields = 0;
    /** The form is described in XML (XFA) as well, which other programs may show in its place. */
    bool hasXfa = false;
    std::vector<Signature> signatures;   ///< and the fields that wait for one
    std::vector<Attachment> attachments; ///< by name
};

} // namespace Korvel::PDF
