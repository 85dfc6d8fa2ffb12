#pragma once
// Errors are values: a Result holds either a value or an error of type E (a message by default).
#include <string>
#include <utility>
#include <variant>

namespace velmora {

template <typename E>
struct Failure {
    E error;
};
template <typename E>
Failure(E) -> Failure<E>;
inline Failure<std::string> fail(std::string message) {
    return {std::move(message)};
}

template <typename T, typename E = std::string>
class Result {
  public:
    Result(T value) : v_(std::in_place_index<0>, std::move(value)) {}
    Result(Failure<E> f) : v_(std::in_place_index<1>, std::move(f.error)) {}

    bool ok() const { return v_.index() == 0; }
    explicit operator bool() const { return ok(); }
    T& value() { return std::get<0>(v_); }
    const T& value() const { return std::get<0>(v_); }
    T& operator*() { return value(); }
    const T& operator*() const { return value(); }
    T* operator->() { return &value(); }
    const T* operator->() const { return &value(); }
    const E& error() const { return std::get<1>(v_); }

  private:
    std::variant<T, E> v_;
};

}  // namespace velmora
