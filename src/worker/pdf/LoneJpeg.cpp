#include "LoneJpeg.h"

#include "JpegHeader.h"
#include "PageBoxes.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <qpdf/QPDFMatrix.hh>

#include <QRectF>

namespace Korvel::Worker {

namespace {

/**
 * Finds the one picture that content draws, and where. Stops at the first operator that may draw
 * something else, or change how the picture looks.
 */
class ContentReader : public QPDFObjectHandle::ParserCallbacks
{
public:
    void handleObject(QPDFObjectHandle object) override
    {
        if (!object.isOperator()) {
            operands.push_back(object);
            return;
        }
        isPlain = Take(object.getOperatorValue());
        operands.clear();
        if (!isPlain)
            terminateParsing();
    }

    void handleEOF() override {}

    /** The name of the picture; empty where that is not all. */
    std::string Picture() const { return isPlain ? picture : std::string(); }

    /** What takes the unit square to where the picture is. */
    const QPDFMatrix& Place() const { return place; }

private:
    struct State
    {
        QPDFMatrix matrix;
        bool showsText = true;
    };

    bool Take(const std::string& name)
    {
        static const std::set<std::string> harmless{"BT", "ET", "Tc", "Tw", "Tz", "TL",
                                                    "Tf", "Ts", "Td", "TD", "Tm", "T*"};
        static const std::set<std::string> ofText{"Tj", "TJ", "'", "\""};
        if (harmless.count(name) > 0)
            return true;
        if (ofText.count(name) > 0)
            return !states.back().showsText;
        if (name == "q" || name == "Q")
            return name == "q" ? Push() : Pop();
        if (name == "cm")
            return Transform();
        if (name == "Tr")
            return ChangeText();
        return name == "Do" && Draw();
    }

    bool Push()
    {
        constexpr std::size_t most = 64;
        states.push_back(State(states.back()));
        return states.size() < most;
    }

    bool Pop()
    {
        states.pop_back();
        return !states.empty();
    }

    bool Transform()
    {
        constexpr std::size_t numbers = 6;
        const bool areNumbers =
            std::all_of(operands.begin(), operands.end(),
                        [](QPDFObjectHandle& operand) { return operand.isNumber(); });
        if (operands.size() != numbers || !areNumbers)
            return false;
        std::vector<double> values;
        for (QPDFObjectHandle& operand : operands)
            values.push_back(operand.getNumericValue());
        states.back().matrix.concat(
            QPDFMatrix(values[0], values[1], values[2], values[3], values[4], values[5]));
        return true;
    }

    /** Text is invisible in mode 3 alone; beyond, it becomes a shape that cuts what is drawn. */
    bool ChangeText()
    {
        constexpr long long invisible = 3;
        if (operands.size() != 1 || !operands.front().isInteger())
            return false;
        const long long mode = operands.front().getIntValue();
        states.back().showsText = mode != invisible;
        return mode <= invisible;
    }

    bool Draw()
    {
        if (!picture.empty() || operands.size() != 1 || !operands.front().isName())
            return false;
        picture = operands.front().getName();
        place = states.back().matrix;
        return true;
    }

    std::vector<QPDFObjectHandle> operands;
    std::vector<State> states{State()};
    std::string picture;
    QPDFMatrix place;
    bool isPlain = true;
};

bool HasAny(QPDFObjectHandle dictionary, std::initializer_list<const char*> keys)
{
    return std::any_of(keys.begin(), keys.end(),
                       [&](const char* key) { return dictionary.hasKey(key); });
}

/** The name, or the one in the array. */
std::string Name(QPDFObjectHandle object)
{
    if (object.isArray() && object.getArrayNItems() == 1)
        object = object.getArrayItem(0);
    return object.isName() ? object.getName() : std::string();
}

/** Whether text may be drawn whatever mode it is in: glyphs of type 3 are drawings. */
bool HasDrawnFont(QPDFObjectHandle fonts)
{
    if (!fonts.isDictionary())
        return false;
    const std::set<std::string> names = fonts.getKeys();
    return std::any_of(names.begin(), names.end(), [&fonts](const std::string& name) {
        return Name(fonts.getKey(name).getKeyIfDict("/Subtype")) == "/Type3";
    });
}

/** How many samples a pixel has of colors that mean the same in a JPEG; 0 for others. */
int ChannelsOf(QPDFObjectHandle picture)
{
    const std::string colors = Name(picture.getKey("/ColorSpace"));
    if (colors == "/DeviceGray")
        return 1;
    return colors == "/DeviceRGB" ? 3 : 0;
}

bool IsPlainJpeg(QPDFObjectHandle picture)
{
    if (!picture.isStream())
        return false;
    QPDFObjectHandle dictionary = picture.getDict();
    return Name(dictionary.getKey("/Subtype")) == "/Image" &&
           Name(dictionary.getKey("/Filter")) == "/DCTDecode" && ChannelsOf(dictionary) > 0 &&
           !HasAny(dictionary, {"/SMask", "/Mask", "/ImageMask", "/SMaskInData", "/Decode",
                                "/DecodeParms", "/OC", "/F", "/Alternates"});
}

/** Whether the page may change colors, or has something beside its content. */
bool IsPlainPage(QPDFPageObjectHelper& page)
{
    QPDFObjectHandle object = page.getObjectHandle();
    QPDFObjectHandle annotations = object.getKey("/Annots");
    QPDFObjectHandle resources = page.getAttribute("/Resources", false);
    QPDFObjectHandle colors = resources.getKeyIfDict("/ColorSpace");
    const bool isAnnotated = annotations.isArray() && annotations.getArrayNItems() > 0;
    return TurnsOf(page) == 0 && !isAnnotated && !object.hasKey("/Group") &&
           !HasDrawnFont(resources.getKeyIfDict("/Font")) &&
           !(colors.isDictionary() && HasAny(colors, {"/DefaultGray", "/DefaultRGB"}));
}

/** Whether the picture is upright and ends within a pixel of its own of what the page shows. */
bool FillsPage(QPDFPageObjectHelper& page, const QPDFMatrix& place, const JpegHeader& picture)
{
    if (place.b != 0 || place.c != 0 || !(place.a > 0 && place.d > 0))
        return false;
    const QRectF media = MediaBoxOf(page);
    const QRectF shown = BoxOf(page, PageView::Box::Crop, media) & media;
    const double across = place.a / picture.width;
    const double down = place.d / picture.height;
    return std::abs(place.e - shown.left()) < across &&
           std::abs(place.e + place.a - shown.right()) < across &&
           std::abs(place.f - shown.top()) < down &&
           std::abs(place.f + place.d - shown.bottom()) < down;
}

bool IsAsWasSaid(QPDFObjectHandle dictionary, const JpegHeader& picture)
{
    const auto is = [&dictionary](const char* key, int value) {
        QPDFObjectHandle said = dictionary.getKey(key);
        return said.isInteger() && said.getIntValue() == value;
    };
    return is("/Width", picture.width) && is("/Height", picture.height) &&
           ChannelsOf(dictionary) == picture.channels;
}

} // namespace

std::shared_ptr<Buffer> LoneJpeg(QPDFPageObjectHelper page)
{
    ContentReader content;
    if (!IsPlainPage(page))
        return nullptr;
    page.parseContents(&content);
    QPDFObjectHandle pictures = page.getAttribute("/Resources", false).getKeyIfDict("/XObject");
    if (content.Picture().empty() || !pictures.isDictionary())
        return nullptr;
    QPDFObjectHandle picture = pictures.getKey(content.Picture());
    if (!IsPlainJpeg(picture))
        return nullptr;
    std::shared_ptr<Buffer> bytes = picture.getRawStreamData();
    const auto header =
        ReadJpegHeader({reinterpret_cast<const char*>(bytes->getBuffer()), bytes->getSize()});
    if (!header || !IsAsWasSaid(picture.getDict(), *header) ||
        !FillsPage(page, content.Place(), *header))
        return nullptr;
    return bytes;
}

} // namespace Korvel::Worker
