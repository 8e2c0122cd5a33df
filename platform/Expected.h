// A value or the OSErr that explains its absence: the platform's and the
// host's way of returning results without exceptions.
#pragma once

#include <utility>
#include <variant>

#include "MacTypes.h"

namespace tessel {

template <class T>
class Expected {
 public:
  Expected(T value) : content_(std::in_place_index<0>, std::move(value)) {}
  static Expected failure(OSErr err) { return Expected(Failure{err}); }

  bool has_value() const { return content_.index() == 0; }
  explicit operator bool() const { return has_value(); }
  T& value() { return std::get<0>(content_); }
  const T& value() const { return std::get<0>(content_); }
  T& operator*() { return value(); }
  const T& operator*() const { return value(); }
  T* operator->() { return &value(); }
  const T* operator->() const { return &value(); }
  // The error, or noErr when there is a value.
  OSErr error() const { return has_value() ? OSErr(0) : std::get<1>(content_).err; }

 private:
  struct Failure {
    OSErr err;
  };
  explicit Expected(Failure failure) : content_(std::in_place_index<1>, failure) {}
  std::variant<T, Failure> content_;
};

}  // namespace tessel
