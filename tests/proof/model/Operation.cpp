#include "Operation.h"

#include <sstream>

namespace Korvel::PDF::Test {

namespace {

constexpr const char* kindNames[]{"do nothing",  "ConvertFile",    "forward",
                                  "emit",        "emit elsewhere", "deliver what is queued",
                                  "answer with", "throw",          "destroy the outermost"};
constexpr const char* pdfAnswerNames[]{"proper", "refusal", "exception", "no state"};

std::string Quoted(const QString& text)
{
    return text.isNull() ? "(last task's)" : '"' + text.toStdString() + '"';
}

void DescribeTask(std::ostream& stream, const Operation& operation)
{
    stream << ' ' << Quoted(operation.task.source) << " to " << Quoted(operation.task.destination)
           << ' ' << DescribeOptions(operation.task);
    for (const std::string& stem : operation.stems)
        stream << " stem " << stem;
    if (operation.failingCopy)
        stream << " failing copy " << *operation.failingCopy;
}

void DescribeEmission(std::ostream& stream, const Operation& operation)
{
    stream << ' ' << operation.emission.signal->name << ' ' << Quoted(operation.emission.source);
    for (const QString& result : operation.emission.results)
        stream << ' ' << Quoted(result);
    if (!operation.resultsExist)
        stream << " (not there)";
}

void DescribeAnswers(std::ostream& stream, const Answers& answers)
{
    stream << " accepts " << answers.accepts << ", seesFiles " << answers.seesFiles
           << ", createsFolders " << answers.createsFolders << ", movesFiles " << answers.movesFiles
           << ", removesFolders " << answers.removesFolders << ", open "
           << pdfAnswerNames[int(answers.open)] << ", save " << pdfAnswerNames[int(answers.save)];
}

} // namespace

std::string Operation::Describe(const std::string& indentation) const
{
    std::ostringstream text;
    text << indentation << kindNames[int(kind)];
    if (kind == Kind::Convert)
        DescribeTask(text, *this);
    if (emission.signal)
        DescribeEmission(text, *this);
    if (kind == Kind::Answer)
        DescribeAnswers(text, answers);
    text << '\n';
    for (const Operation& operation : inSlots)
        text << operation.Describe(indentation + "    in a slot: ");
    for (const Operation& operation : inConverter)
        text << operation.Describe(indentation + "    in the converter: ");
    return text.str();
}

std::string DescribeOptions(const Task& task)
{
    std::ostringstream text;
    text << task.type.toStdString() << " {";
    for (const auto& [name, value] : task.options) {
        const auto* string = std::any_cast<std::string>(&value);
        text << ' ' << name << '=' << (string ? *string : value.type().name());
    }
    text << " }";
    return text.str();
}

} // namespace Korvel::PDF::Test
