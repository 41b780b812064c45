#include "OptionList.h"

#include "EngineWords.h"
#include "OnExists.h"
#include "ProgressStyle.h"
#include "ResultFormat.h"

#include <iterator>

namespace Korvel::App {

namespace {

template <std::size_t count>
std::vector<std::string> Words(const std::array<const char*, count>& words)
{
    return {words.begin(), words.end()};
}

std::vector<std::string> Formats()
{
    std::vector<std::string> formats;
    for (const ResultFormat& format : resultFormats)
        formats.emplace_back(format.suffix);
    return formats;
}

/** The words as a sentence lists them, in lines that the help has room for. */
std::string Listed(const std::vector<std::string>& words)
{
    constexpr std::size_t longest = 54;
    std::string text = words.front();
    std::size_t begin = 0;
    for (std::size_t i = 1; i < words.size(); ++i) {
        const bool isLast = i + 1 == words.size();
        const std::string next = (isLast ? "or " : "") + words[i] + (isLast ? "" : ",");
        text += isLast ? "" : ",";
        const bool fits = text.size() - begin + 1 + next.size() <= longest;
        text += (fits ? " " : "\n");
        begin = fits ? begin : text.size();
        text += isLast ? "or " + words[i] : words[i];
    }
    return text;
}

/** The option that both lists have. */
Option HelpOption()
{
    return {{"-h", "--help"}, "", "Print this help and exit"};
}

std::vector<Option> Inputs()
{
    return {{{"--from-list"},
             "FILE",
             "Convert the files that FILE names as well, one a\n"
             "line; - for standard input",
             {},
             ValueKind::File},
            {{"--recursive"},
             "",
             "Convert the PDFs in folders that are named as inputs,\n"
             "and in those below them. Hidden files and folders and\n"
             "links to folders are left away"},
            {{"-0", "--null"}, "", "The list's names are ended by NUL, as by find -print0"},
            {{"--shard"},
             "K/N",
             "Convert the K-th of N shares of the list, K from 1;\n"
             "a file is always in the same share, whatever else\n"
             "the list names"}};
}

std::vector<Option> Output()
{
    return {{{"-o", "--output"},
             "OUTPUT",
             "Where the results go. The suffix gives the format.\n"
             "%d stands for the page number, %03d for the page\n"
             "number in three digits, %s for the input's name\n"
             "without its suffix, %p for its folder below the one\n"
             "that --recursive began with, %% for a percent sign.\n"
             "Without %d a tif has all pages, and several other\n"
             "pictures get -NN before the suffix. Missing folders\n"
             "are made. - is standard output, for one result",
             {},
             ValueKind::File},
            {{"-d", "--directory"},
             "FOLDER",
             "The folder for the results; without -o they are\n"
             "called %s-%d for pictures and %s for the others, with\n"
             "%p/ in front under --recursive",
             {},
             ValueKind::Folder},
            {{"--beside"},
             "",
             "Put each result into the folder of its input, called\n"
             "as -o says or as with -d"},
            {{"-f", "--format"},
             "FORMAT",
             Listed(Formats()) + ", whatever the suffix; png\n"
                                 "with -d or --beside alone",
             Formats()},
            {{"--merge"},
             "",
             "Make one PDF of all inputs, in their order, with the\n"
             "pages that --pages chooses of each; -o names it, and\n"
             "there is none when an input fails"},
            {{"--linearize"},
             "",
             "Make PDFs that a browser shows before all of them\n"
             "has come"},
            {{"--on-exists"},
             "WHAT",
             "When a result's name is taken: number (the default:\n"
             "page(2).png), fail, skip, or overwrite, which\n"
             "replaces each file in one step once its result is\n"
             "whole",
             Words(onExistsWords)},
            {{"--dry-run"}, "", "Print the results' paths and convert nothing"}};
}

std::vector<Option> Pages()
{
    return {{{"--pages"},
             "LIST",
             "Only these pages, such as 1-3,7,9- (from 9 to the\n"
             "last), last, r2 (the last but one), odd, even, or\n"
             "2-9:even (every second of them). A range ends with\n"
             "the document at the latest"},
            {{"-r", "--resolution"},
             "DPI",
             "Resolution of pictures, and of the pixels that an\n"
             "hocr counts in, in dots per inch, from 1 to 4800; 150\n"
             "without this. native makes a page that is nothing but\n"
             "one JPEG a jpg of those very bytes, and others of 150"},
            {{"--size"}, "WxH", "Make pictures as large as fits into W x H pixels"},
            {{"--width"}, "N", "Make pictures N pixels wide, as high as follows"},
            {{"--height"}, "N", "Make pictures N pixels high, as wide as follows"},
            {{"--box"},
             "BOX",
             "Which box of the pages is shown: crop (the default),\n"
             "media, trim, bleed or art; a page's crop box where it\n"
             "has no such box",
             {std::begin(WorkerProtocol::boxWords), std::end(WorkerProtocol::boxWords)}},
            {{"--crop"},
             "X,Y,W,H",
             "Show this part of the pages: W wide and H high, X\n"
             "from the left and Y from the top; in points, or with\n"
             "mm or px behind the last number in millimetres or in\n"
             "pixels at the resolution of -r"},
            {{"--rotate"},
             "DEGREES",
             "Turn pictures clockwise by 90, 180 or 270 degrees",
             {"90", "180", "270"}},
            {{"--gray"}, "", "Make pictures gray"},
            {{"--mono"},
             "",
             "Make pictures black and white, of one bit a pixel;\n"
             "png, and tif packed as faxes are"},
            {{"--dither"},
             "",
             "With --mono, make dots of what is between black and\n"
             "white; without, the darker half of it is black"},
            {{"--transparent"},
             "",
             "Leave pictures transparent where nothing is drawn;\n"
             "png, tif and webp"},
            {{"--quality"},
             "N",
             "Quality of jpg and webp pictures, from 1 to 100; 90\n"
             "without this"},
            {{"--compression"},
             "WHAT",
             "How png pictures are packed: fast (the default), or\n"
             "small, a quarter smaller but slower to make",
             {"fast", "small"}},
            {{"--dehyphenate"},
             "",
             "Put words together that are parted at the end of a\n"
             "line; txt, and so without this"},
            {{"--no-dehyphenate"}, "", "Leave them parted"},
            {{"--layout"},
             "",
             "Keep columns of a txt beside each other, as on the\n"
             "page"}};
}

std::vector<Option> Passwords()
{
    return {{{"--password-file"},
             "FILE",
             "Read the password from the first line of FILE, or of\n"
             "standard input when FILE is -",
             {},
             ValueKind::File},
            {{"--password-env"},
             "NAME",
             "Read the password from the environment variable\n"
             "NAME; without any option PDFCONVERT_PASSWORD is\n"
             "read if it is set"},
            {{"--password-fd"}, "N", "Read the password from the file descriptor N"},
            {{"--password"},
             "TEXT",
             "The password itself. Other users of this machine can\n"
             "see it in the list of processes"},
            {{"--ask-password"},
             "",
             "Ask for the password on the terminal before\n"
             "anything is opened; without any option it is asked\n"
             "for when a document needs it"},
            {{"--password-map"},
             "FILE",
             "Passwords for many inputs: a line for each, its path,\n"
             "a tab and its password",
             {},
             ValueKind::File},
            {{"--no-input"}, "", "Never ask for anything"}};
}

std::vector<Option> Running()
{
    return {{{"-j", "--jobs"},
             "N",
             "How many pages, of one document or several, are\n"
             "converted at once; as many as there are processors\n"
             "without this"},
            {{"--timeout"},
             "SECONDS",
             "How long a document may take to open, and how long\n"
             "to copy and convert; without this 600 for each page"},
            {{"--memory-limit"},
             "MB",
             "How much memory a worker process may use, from 256;\n"
             "1024 without this"},
            {{"--max-result"},
             "MB",
             "How large a result may be, and so may a copy without\n"
             "encryption; 1024 without this, 0 for any size"},
            {{"--require-sandbox"},
             "",
             "Convert nothing where this machine lacks some of\n"
             "what keeps documents from doing damage"},
            {{"--engine"},
             "ENGINE",
             "What draws the pages and reads their text: auto,\n"
             "which is PDFium where its library is there, else Qt\n"
             "PDF, or pdfium, or qt; --version tells which is there",
             Words(engineWords)},
            {{"--journal"},
             "FILE",
             "Write down in FILE what becomes of each document, and\n"
             "go on where a run that was killed has ended: what is\n"
             "done stays, what was in work is done again",
             {},
             ValueKind::File},
            {{"--retry-failed"},
             "",
             "Convert also what the journal says has failed, or\n"
             "lacks pages"},
            {{"--fail-fast"}, "", "Stop at the first document that fails"},
            {{"--strict"}, "", "End with 7 when a page could not be converted"},
            {{"--warning-exit-0"}, "", "End with 0 instead of 3 when there were warnings only"},
            {{"--temp-dir"},
             "DIR",
             "Where the folder for temporary files is made, which\n"
             "only you can read and which is removed at the end;\n"
             "$TMPDIR or /tmp without this",
             {},
             ValueKind::Folder},
            {{"--keep-temp"},
             "",
             "Leave the temporary files where they are and say\n"
             "where; they show what encrypted documents say"},
            {{"--clean-temp"},
             "",
             "Remove the folders that killed runs have left there,\n"
             "and their hidden files in folders of results that\n"
             "are named in the place of inputs; print the paths,\n"
             "and do nothing else"}};
}

std::vector<Option> Reporting()
{
    return {{{"--inspect"},
             "",
             "Print pages and their sizes, version, encryption and\n"
             "permissions of the inputs, fonts and whether they are\n"
             "embedded, which pages have text, form fields,\n"
             "signatures, attachments, and convert nothing"},
            {{"--json"},
             "",
             "Print one JSON document at the end in place of the\n"
             "results' paths"},
            {{"--progress"},
             "HOW",
             "How progress shows on standard error: auto (the\n"
             "default: a bar on a terminal, a line every 5 seconds\n"
             "elsewhere), bar, plain, json (events, a line each, in\n"
             "place of all messages) or none",
             Words(progressStyleWords)},
            {{"-q", "--quiet"}, "", "No progress and no warnings, only errors"},
            {{"-v", "--verbose"}, "N", "Log to standard error, up to level N from 1 to 99"}};
}

std::vector<Option> Help()
{
    return {HelpOption(),
            {{"--version"},
             "",
             "Print the version and what keeps documents from\n"
             "doing damage on this machine, and exit"},
            {{"--completion"},
             "SHELL",
             "Print a script that completes this command's options\n"
             "in bash, zsh or fish, and exit",
             {"bash", "zsh", "fish"}}};
}

std::vector<Option> Report()
{
    return {{{"--json"}, "", "Print a JSON document in place of text"},
            {{"--follow"},
             "",
             "Wait for journals that are not there yet, and print\n"
             "again whenever they grow, until the last run of each\n"
             "has ended with 0, 3 or 10; with --json a line of JSON\n"
             "each time"},
            {{"--verify"},
             "",
             "Read the results of all documents that are done, and\n"
             "tell each that is missing, or is not what was written"},
            HelpOption()};
}

struct Group
{
    const char* name;
    std::vector<Option> options;
};

std::vector<Option> Joined(const std::vector<Group>& groups)
{
    std::vector<Option> all;
    for (const Group& group : groups) {
        for (const Option& option : group.options) {
            all.push_back(option);
            all.back().group = group.name;
        }
    }
    return all;
}

} // namespace

const std::vector<Option>& OptionList()
{
    static const std::vector<Option> list = Joined({{"Inputs", Inputs()},
                                                    {"Output", Output()},
                                                    {"Pages", Pages()},
                                                    {"Passwords", Passwords()},
                                                    {"Running", Running()},
                                                    {"Reporting", Reporting()},
                                                    {"Help", Help()}});
    return list;
}

const std::vector<Option>& ReportOptionList()
{
    static const std::vector<Option> list = Joined({{"Options", Report()}});
    return list;
}

} // namespace Korvel::App
