// A value or the OSErr that explains its absence: the platform's and the
// host's way of returning results without exceptions.
#pragma once

#include <cassert>
#include <utility>
#include <variant>

#include "MacTypes.h"

namespace tessel {

// An error on its way out of a function: converts to an Expected of any type,
// so that forwarding a callee's error need not name the caller's type.
struct Failure {
  OSErr err;
};

template <class T>
class Expected {
 public:
  Expected(T value) : content_(std::in_place_index<0>, std::move(value)) {}
  Expected(Failure failure) : content_(std::in_place_index<1>, failure) {}
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
  std::variant<T, Failure> content_;
};

// The error of a result that holds none, to forward from a function that
// returns another Expected: `if (!info) return failure_of(info);`. The return
// stays in sight at the call site; a macro that hides it would save one line
// per call and make every early exit invisible to a reader skimming for them.
template <class T>
Failure failure_of(const Expected<T>& result) {
  assert(!result);
  return Failure{result.error()};
}

}  // namespace tessel
