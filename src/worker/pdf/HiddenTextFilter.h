#pragma once

#include <set>
#include <string>
#include <vector>

#include <qpdf/QPDFObjectHandle.hh>

namespace Korvel::Worker {

/** Has what a content writes within hidden layers say nothing, and leaves out their forms. */
class HiddenTextFilter : public QPDFObjectHandle::TokenFilter
{
public:
    /** Names in the content's resources. */
    struct Names
    {
        std::set<std::string> hiddenLayers;
        std::set<std::string> hiddenForms;
        /** The other forms. */
        std::set<std::string> forms;
    };

    explicit HiddenTextFilter(Names names) : names(std::move(names)) {}

    void handleToken(const QPDFTokenizer::Token& token) override;
    void handleEOF() override;

private:
    bool IsHidden() const { return hiddenMarks > 0; }
    void Operate(const QPDFTokenizer::Token& operation);
    void BeginMark(bool isHidden);
    void EndMark();

    const Names names;
    /** The names right before an operator. */
    std::vector<std::string> operands;
    /** For each mark around what comes whether it hides that. */
    std::vector<bool> marks;
    int hiddenMarks = 0;
};

} // namespace Korvel::Worker
