#include "CleanerCore/base/FileURL.h"

#include <gtest/gtest.h>

namespace velmora {
namespace {

// Paths already in standard form are returned without being split; the rest must still be
// cleaned. Names that merely start with dots are ordinary names.
TEST(FileURLTest, StandardizePath) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"/a/b", "/a/b"},     {"/", "/"},           {"", "/"},
        {"a/b", "/a/b"},      {"/a//b", "/a/b"},    {"//a", "/a"},
        {"/a/./b", "/a/b"},   {"/a/.", "/a"},       {"/.", "/"},
        {"/a/../b", "/b"},    {"/a/..", "/"},       {"/..", "/"},
        {"/a/b/", "/a/b"},    {"/a/.b", "/a/.b"},   {"/a/..b", "/a/..b"},
        {"/a/b..", "/a/b.."}, {"/.../x", "/.../x"}, {"/a/b/../../c/./d/", "/c/d"},
    };
    for (const auto& [path, standard] : cases) {
        EXPECT_EQ(standardizePath(path), standard) << path;
    }
}

}  // namespace
}  // namespace velmora
