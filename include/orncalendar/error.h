// The run-time error raised by the object model. It carries the error
// number an automation client sees (for example 13 for a type mismatch).
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace orncal {

enum class ErrorNumber : int32_t {
  kInvalidProcedureCall = 5,
  kOverflow = 6,
  kOutOfMemory = 7,
  kSubscriptOutOfRange = 9,
  kDivisionByZero = 11,
  kTypeMismatch = 13,
  kInternalError = 51,
  kObjectNotSet = 91,
  // The late-bound calls of the automation layer (src/api).
  kObjectRequired = 424,
  kCannotCreateObject = 429,
  kUnknownMember = 438,
  kNamedArgumentNotFound = 448,
  kArgumentNotOptional = 449,
  kWrongArgumentCount = 450,
  kDuplicateKey = 457,
  // The notifier that relays changes between processes cannot be reached.
  kNotifierUnavailable = 462,
};

class Error : public std::runtime_error {
 public:
  // An error with the standard description of its number.
  explicit Error(ErrorNumber number);
  Error(ErrorNumber number, const std::string& description);

  int32_t Number() const noexcept { return static_cast<int32_t>(number_); }
  ErrorNumber Code() const noexcept { return number_; }
  std::string Description() const { return what(); }

  static std::string StandardDescription(ErrorNumber number);

 private:
  ErrorNumber number_;
};

}  // namespace orncal
