#pragma once
// Small engine-wide helpers: node ids and value formatting.
#include <string>

namespace Lumenda3D {

class Lumenda3DUtils {
public:
    // The next free xml id. Ids only grow during a process, so an id handed out before a reload
    // never names a different node after it.
    static int getNextId();
    static std::string getNextIdStr();
    // Reserves `count` consecutive ids at once and returns the first.
    static int reserveIds(int count);
    // For tests and fuzz targets only, which must give the same ids to the same input every
    // time: the next id handed out is `next` again. The editor never calls it.
    static void restartIdsForTesting(int next = 1);

    // Shortest decimal text that reads back as the same float ("1.1", not "1.10000002").
    static std::string formatFloat(float value);

    // A new random identity in the 8-4-4-4-12 hexadecimal form.
    static std::string newGuid();
};

} // namespace Lumenda3D
