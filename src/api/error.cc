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
    case ErrorNumber::kOutOfMemory:
      return "Out of memory";
    case ErrorNumber::kSubscriptOutOfRange:
      return "Subscript out of range";
    case ErrorNumber::kDivisionByZero:
      return "Division by zero";
    case ErrorNumber::kTypeMismatch:
      return "Type mismatch";
    case ErrorNumber::kInternalError:
      return "Internal error";
    case ErrorNumber::kObjectNotSet:
      return "Object variable not set";
    case ErrorNumber::kObjectRequired:
      return "Object required";
    case ErrorNumber::kCannotCreateObject:
      return "Can't create object";
    case ErrorNumber::kUnknownMember:
      return "Object doesn't support this property or method";
    case ErrorNumber::kNamedArgumentNotFound:
      return "Named argument not found";
    case ErrorNumber::kArgumentNotOptional:
      return "Argument not optional";
    case ErrorNumber::kWrongArgumentCount:
      return "Wrong number of arguments or invalid property assignment";
    case ErrorNumber::kDuplicateKey:
      return "This key is already associated with an element of this collection";
    case ErrorNumber::kNotifierUnavailable:
      return "The notifier cannot be reached";
  }
  return "Application-defined or object-defined error";
}

}  // namespace orncal
