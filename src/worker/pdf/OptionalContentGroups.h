#pragma once

#include <set>
#include <string>

#include <qpdf/QPDF.hh>

namespace Korvel::Worker {

/** Which groups of optional content, or layers, a screen shows when the document is opened. */
class OptionalContentGroups
{
public:
    explicit OptionalContentGroups(QPDF& pdf);

    bool AreThere() { return defaults.isDictionary(); }

    /**
     * Whether what belongs to `owner` is hidden: a group, or a membership that goes by the state of
     * several groups. Nothing else hides anything.
     */
    bool Hide(QPDFObjectHandle owner);

private:
    bool Shows(const QPDFObjectHandle& group);
    bool ShowsMembership(QPDFObjectHandle membership);
    bool IsTrue(QPDFObjectHandle expression, int depth);
    std::set<QPDFObjGen> Listed(const std::string& key);

    QPDFObjectHandle defaults = QPDFObjectHandle::newNull();
    std::set<QPDFObjGen> on;
    std::set<QPDFObjGen> off;
};

} // namespace Korvel::Worker
