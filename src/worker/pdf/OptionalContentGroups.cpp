#include "OptionalContentGroups.h"

#include <algorithm>
#include <vector>

namespace Korvel::Worker {

namespace {

/** Expressions within expressions are looked into so far: only hostile documents have more. */
constexpr int deepest = 16;

/** An array's elements, or the one object that stands in an array's place. */
std::vector<QPDFObjectHandle> Elements(QPDFObjectHandle object)
{
    if (object.isArray())
        return object.getArrayAsVector();
    return {object};
}

/** What the group itself tells of screens, a name or a text; null where it says nothing. */
QPDFObjectHandle StateOnScreens(QPDFObjectHandle group)
{
    QPDFObjectHandle usage = group.getKey("/Usage");
    QPDFObjectHandle view =
        usage.isDictionary() ? usage.getKey("/View") : QPDFObjectHandle::newNull();
    return view.isDictionary() ? view.getKey("/ViewState") : QPDFObjectHandle::newNull();
}

} // namespace

OptionalContentGroups::OptionalContentGroups(QPDF& pdf)
{
    QPDFObjectHandle properties = pdf.getRoot().getKey("/OCProperties");
    if (!properties.isDictionary() || !properties.getKey("/D").isDictionary())
        return;
    defaults = properties.getKey("/D");
    on = Listed("/ON");
    off = Listed("/OFF");
}

bool OptionalContentGroups::Hide(QPDFObjectHandle owner)
{
    if (!AreThere() || !owner.isDictionary())
        return false;
    return !(owner.isDictionaryOfType("/OCMD") ? ShowsMembership(owner) : Shows(owner));
}

bool OptionalContentGroups::Shows(const QPDFObjectHandle& group)
{
    // The engines go by this wherever it stands.
    QPDFObjectHandle state = StateOnScreens(group);
    if (state.isName())
        return state.getName() != "/OFF";
    const bool hidesOthers = defaults.getKey("/BaseState").isNameAndEquals("/OFF");
    return hidesOthers ? on.count(group.getObjGen()) > 0 : off.count(group.getObjGen()) == 0;
}

std::set<QPDFObjGen> OptionalContentGroups::Listed(const std::string& key)
{
    std::set<QPDFObjGen> groups;
    for (const QPDFObjectHandle& group : Elements(defaults.getKey(key))) {
        if (group.isIndirect())
            groups.insert(group.getObjGen());
    }
    return groups;
}

/** Whether content is shown that goes by whether some, all or none of several groups are. */
bool OptionalContentGroups::ShowsMembership(QPDFObjectHandle membership)
{
    if (membership.getKey("/VE").isArray())
        return IsTrue(membership.getKey("/VE"), 0);
    std::vector<QPDFObjectHandle> groups = Elements(membership.getKey("/OCGs"));
    groups.erase(std::remove_if(groups.begin(), groups.end(),
                                [](QPDFObjectHandle group) { return !group.isDictionary(); }),
                 groups.end());
    if (groups.empty())
        return true;
    const auto shows = [this](const QPDFObjectHandle& group) {
        return Shows(group);
    };
    QPDFObjectHandle policy = membership.getKey("/P");
    if (policy.isNameAndEquals("/AllOn"))
        return std::all_of(groups.begin(), groups.end(), shows);
    if (policy.isNameAndEquals("/AnyOff"))
        return !std::all_of(groups.begin(), groups.end(), shows);
    if (policy.isNameAndEquals("/AllOff"))
        return std::none_of(groups.begin(), groups.end(), shows);
    return std::any_of(groups.begin(), groups.end(), shows);
}

/** What an expression of groups says: their states, put together by /And, /Or and /Not. */
bool OptionalContentGroups::IsTrue(QPDFObjectHandle expression, int depth)
{
    if (expression.isDictionary())
        return Shows(expression);
    if (!expression.isArray() || expression.getArrayNItems() < 2 || depth == deepest)
        return true;
    std::vector<QPDFObjectHandle> operands = expression.getArrayAsVector();
    QPDFObjectHandle operation = operands.front();
    operands.erase(operands.begin());
    const auto isTrue = [this, depth](const QPDFObjectHandle& operand) {
        return IsTrue(operand, depth + 1);
    };
    if (operation.isNameAndEquals("/Not"))
        return !isTrue(operands.front());
    return operation.isNameAndEquals("/And")
               ? std::all_of(operands.begin(), operands.end(), isTrue)
               : std::any_of(operands.begin(), operands.end(), isTrue);
}

} // namespace Korvel::Worker
