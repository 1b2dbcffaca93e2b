// What the product's own tests rely on without looking: the sizes of the sample product.
#include "sample_product/SampleProduct.h"

#include "test_support/ScratchHome.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

TEST(SampleProduct, HasLogsOfTheSizeAskedFor) {
    for (const bool incompressible : {false, true}) {
        for (const std::uint64_t bytes : {0U, 1U, 3'000'001U}) {
            const test_support::ScratchFolder home;
            const auto product = sample_product::makeSampleProduct(
                home.path(), {.logBytes = bytes, .logFiles = 20, .incompressible = incompressible});
            std::uintmax_t size = 0;
            std::size_t files = 0;
            for (const auto &entry : fs::recursive_directory_iterator(product.logs)) {
                size += entry.is_regular_file() ? entry.file_size() : 0;
                files += entry.is_regular_file() ? 1 : 0;
            }
            EXPECT_EQ(size, bytes);
            EXPECT_EQ(files, 20U);
        }
    }
}
