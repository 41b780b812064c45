#include "HiddenTextFilter.h"

namespace Korvel::Worker {

namespace {

constexpr std::size_t mostOperands = 2; // of the operators that are looked at

} // namespace

void HiddenTextFilter::handleToken(const QPDFTokenizer::Token& token)
{
    switch (token.getType()) {
    case QPDFTokenizer::tt_space:
    case QPDFTokenizer::tt_comment:
        writeToken(token);
        return;
    case QPDFTokenizer::tt_name:
        if (operands.size() <= mostOperands)
            operands.push_back(token.getValue());
        writeToken(token);
        return;
    case QPDFTokenizer::tt_word:
        Operate(token);
        break;
    case QPDFTokenizer::tt_string:
        IsHidden() ? write("()") : writeToken(token);
        break;
    default:
        writeToken(token);
    }
    operands.clear();
}

void HiddenTextFilter::Operate(const QPDFTokenizer::Token& operation)
{
    const std::string name = operation.getValue();
    if (name == "BDC")
        BeginMark(operands.size() == 2 && operands[0] == "/OC" &&
                  names.hiddenLayers.count(operands[1]) > 0);
    else if (name == "BMC")
        BeginMark(false);
    else if (name == "EMC")
        EndMark();
    const bool drawsHidden = name == "Do" && operands.size() == 1 &&
                             (names.hiddenForms.count(operands[0]) > 0 ||
                              (IsHidden() && names.forms.count(operands[0]) > 0));
    // A mark of a point takes a name, too, and draws nothing.
    drawsHidden ? write("MP") : writeToken(operation);
}

void HiddenTextFilter::BeginMark(bool isHidden)
{
    marks.push_back(isHidden);
    hiddenMarks += isHidden ? 1 : 0;
}

void HiddenTextFilter::EndMark()
{
    if (marks.empty())
        return;
    hiddenMarks -= marks.back() ? 1 : 0;
    marks.pop_back();
}

void HiddenTextFilter::handleEOF()
{
    operands.clear();
    marks.clear();
    hiddenMarks = 0;
}

} // namespace Korvel::Worker
