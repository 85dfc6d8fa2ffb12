#pragma once
// An optional, immutable value that copies share instead of duplicating. Records that many
// items carry alike (the container context of a location, the identifier and name of a volume)
// are held once however many records point at them: a scan of a million items in one folder
// would otherwise hold a million copies.
//
// It reads like std::optional<T> (`has_value`, `*`, `->`, comparison with std::nullopt) and
// compares by contents, so records holding it keep their value semantics. The value cannot be
// changed through it; assign a new value instead. Copies are safe to use from several threads.
#include <concepts>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace velmora {

template <typename T>
class SharedValue {
  public:
    SharedValue() = default;
    SharedValue(std::nullopt_t) {}
    SharedValue(T value) : value_(std::make_shared<const T>(std::move(value))) {}
    /// From anything T is made of (a string from a literal, for instance).
    template <typename U>
    requires(!std::same_as<std::remove_cvref_t<U>, T> &&
             !std::same_as<std::remove_cvref_t<U>, SharedValue> &&
             !std::same_as<std::remove_cvref_t<U>, std::optional<T>> &&
             !std::same_as<std::remove_cvref_t<U>, std::nullopt_t> && std::convertible_to<U, T>)
        SharedValue(U&& value)
        : value_(std::make_shared<const T>(std::forward<U>(value))) {}
    template <typename U>
    requires std::same_as<std::remove_cvref_t<U>, std::optional<T>> SharedValue(U&& value) {
        if (value) value_ = std::make_shared<const T>(*std::forward<U>(value));
    }

    bool has_value() const { return value_ != nullptr; }
    explicit operator bool() const { return has_value(); }
    const T& operator*() const { return *value_; }
    const T* operator->() const { return value_.get(); }
    void reset() { value_.reset(); }

    friend bool operator==(const SharedValue& a, const SharedValue& b) {
        if (a.value_ == b.value_) return true;
        return a.value_ && b.value_ && *a.value_ == *b.value_;
    }
    friend bool operator==(const SharedValue& a, std::nullopt_t) { return !a.value_; }
    friend bool operator==(const SharedValue& a, const T& b) { return a.value_ && *a.value_ == b; }

  private:
    std::shared_ptr<const T> value_;
};

}  // namespace velmora
