#include "orncalendar/error.h"

namespace orncal {

Error::Error(ErrorNumber number) : Error(number, StandardDescription(number)) {}

Error::Error(ErrorNumber number, const std::string& description)
    : std::runtime_error(description), number_(number) {}

std::string Error::StandardDescription(ErrorNumber number) {
  switch (number) {
    case ErrorNumber::kInvalidProcedureCall:
      return "Invalid procedure call or argument";
    case ErrorNumber::kOverflow:
      return "Overflow";
    case ErrorNumber::kSubscriptOutOfRange:
      return "Subscript out of range";
    case ErrorNumber::kDivisionByZero:
      return "Division by zero";
    case ErrorNumber::kTypeMismatch:
      return "Type mismatch";
    case ErrorNumber::kObjectNotSet:
      return "Object variable not set";
    case ErrorNumber::kDuplicateKey:
      return "This key is already associated with an element of this collection";
    case ErrorNumber::kNotifierUnavailable:
      return "The notifier cannot be reached";
  }
  return "Application-defined or object-defined error";
}

}  // namespace orncal
