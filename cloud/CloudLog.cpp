#include "CloudLog.h"

#include <atomic>
#include <cstdio>
#include <ctime>
#include <mutex>

#include "Encoding.h"

namespace Lumenda3D::Cloud {
namespace {
std::atomic<bool> gQuiet{false};
std::mutex gMutex;

void write(const char* level, const std::string& line) {
    if (gQuiet)
        return;
    const std::string stamp = Encoding::isoTime(std::time(nullptr));
    std::lock_guard<std::mutex> lock(gMutex);
    std::fprintf(stderr, "%s %s %s\n", stamp.c_str(), level, line.c_str());
    std::fflush(stderr);
}
} // namespace

void CloudLog::info(const std::string& line) { write("info", line); }
void CloudLog::error(const std::string& line) { write("error", line); }
void CloudLog::setQuiet(bool quiet) { gQuiet = quiet; }

} // namespace Lumenda3D::Cloud
