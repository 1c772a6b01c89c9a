// The result of a file-system operation: ok, or a message saying what failed.
#pragma once

#include <string>
#include <utility>

namespace orncal::platform {

class Status {
 public:
  Status() = default;
  static Status Ok() { return Status(); }
  static Status Failure(std::string message) { return Status(std::move(message), true); }

  bool ok() const noexcept { return !failed_; }
  const std::string& message() const noexcept { return message_; }

 private:
  Status(std::string message, bool failed) : message_(std::move(message)), failed_(failed) {}
  std::string message_;
  bool failed_ = false;
};

}  // namespace orncal::platform
