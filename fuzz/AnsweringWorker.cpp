// In a worker's place: answers a request to open with the first line of the file "answers" in the
// folder that it is given, and further ones with the next lines, whatever they are. A "#" in them
// becomes the request's number. Ends where there are no more, or where the last one has no line
// feed.

#include "ForkServer.h"

#include <fstream>
#include <iostream>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace {

std::string NumberOf(const std::string& request)
{
    const std::size_t id = request.find("\"id\":") + 5;
    return request.substr(id, request.find_first_not_of("0123456789", id) - id);
}

std::string Numbered(const std::string& answer, const std::string& number)
{
    std::string result;
    for (const char byte : answer)
        result += byte == '#' ? number : std::string(1, byte);
    return result;
}

} // namespace

int main(int argc, char** argv)
{
    std::string file;
    for (int i = 1; i + 1 < argc; ++i) {
        if (argv[i] == std::string("--folder"))
            file = argv[i + 1] + std::string("/answers");
    }
    const int orders = ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    ::dup2(Korvel::Worker::ForkForEachDocument(orders), STDOUT_FILENO);
    std::ifstream answers;
    std::string answer;
    for (std::string request; std::getline(std::cin, request);) {
        if (request.find("\"op\":\"open\"") != std::string::npos)
            answers = std::ifstream(file);
        if (!std::getline(answers, answer))
            return 0;
        std::cout << Numbered(answer, NumberOf(request));
        if (answers.eof())
            return 0;
        std::cout << std::endl;
    }
    return 0;
}
