// The cloud tests' entry: the PostgreSQL cluster that some tests start is stopped at the end.
#include <gtest/gtest.h>

#include "TempPostgres.h"

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    Lumenda3D::Cloud::test::TempPostgres::shutdownShared();
    return result;
}
