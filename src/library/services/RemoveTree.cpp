#include "RemoveTree.h"

#include "ServicesLog.h"

#include <filesystem>

namespace Korvel::PDF {

bool RemoveTree(const std::string& path) noexcept
{
    try {
        std::error_code failure;
        std::filesystem::remove_all(path, failure);
        if (failure)
            qCWarning(servicesLog)
                << "cannot remove" << QString::fromStdString(path) << failure.message().c_str();
        return !failure;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

} // namespace Korvel::PDF
