#include "AnswerChannel.h"

#include <iostream>

#include <QJsonDocument>

namespace Korvel::Worker {

namespace {

constexpr std::size_t longestLine = std::size_t(16) << 20;

} // namespace

bool ReadLine(std::string& line)
{
    std::streambuf& input = *std::cin.rdbuf();
    line.clear();
    int next = input.sbumpc();
    if (next == EOF)
        return false;
    for (; next != '\n' && next != EOF; next = input.sbumpc()) {
        if (line.size() <= longestLine)
            line.push_back(char(next));
    }
    if (line.size() > longestLine)
        std::string().swap(line);
    return true;
}

bool Send(std::FILE* answers, const QJsonObject& answer)
{
    const QByteArray line = QJsonDocument(answer).toJson(QJsonDocument::Compact) + '\n';
    return std::fwrite(line.constData(), 1, std::size_t(line.size()), answers) ==
               std::size_t(line.size()) &&
           std::fflush(answers) == 0;
}

} // namespace Korvel::Worker
