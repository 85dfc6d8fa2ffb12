#pragma once
// Combining field hashes for the review records, which are hashable with every field taking
// part. Internal to review/.
#include <cstddef>
#include <functional>

namespace velmora::review_detail {

template <typename T>
void hashCombine(size_t& seed, const T& value) {
    seed ^= std::hash<T>{}(value) + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2);
}

}  // namespace velmora::review_detail
