#include "engine/document/Lumenda3DUtils.h"

#include <atomic>
#include <charconv>
#include <cstdio>
#include <mutex>
#include <random>

namespace Lumenda3D {

namespace {
std::atomic<int> nextId{1};
}

int Lumenda3DUtils::getNextId() { return nextId.fetch_add(1); }

int Lumenda3DUtils::reserveIds(int count) { return nextId.fetch_add(count < 0 ? 0 : count); }

void Lumenda3DUtils::restartIdsForTesting(int next) { nextId.store(next); }

std::string Lumenda3DUtils::getNextIdStr() { return std::to_string(getNextId()); }

std::string Lumenda3DUtils::formatFloat(float value) {
    char buffer[64];
    auto result = std::to_chars(buffer, buffer + sizeof(buffer), value);
    if (result.ec != std::errc())
        return "0";
    return std::string(buffer, result.ptr);
}

std::string Lumenda3DUtils::newGuid() {
    static std::mutex mutex;
    static std::mt19937_64 engine{std::random_device{}()};
    unsigned long long a, b;
    {
        std::lock_guard<std::mutex> lock(mutex);
        a = engine();
        b = engine();
    }
    // Version 4 / variant 1 bits, so the value reads as a standard random UUID.
    a = (a & 0xFFFFFFFFFFFF0FFFULL) | 0x0000000000004000ULL;
    b = (b & 0x3FFFFFFFFFFFFFFFULL) | 0x8000000000000000ULL;
    char text[40];
    std::snprintf(text, sizeof(text), "%08llx-%04llx-%04llx-%04llx-%012llx", a >> 32, (a >> 16) & 0xFFFF, a & 0xFFFF,
                  b >> 48, b & 0xFFFFFFFFFFFFULL);
    return text;
}

} // namespace Lumenda3D
