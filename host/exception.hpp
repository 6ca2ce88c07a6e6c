// The host framework's exception classes. A report module raises `Exception` with a UTF-8
// message; the host shows the message. The classes have default visibility so that a throw in
// the module is caught by type in the host program.
#pragma once

#include <exception>
#include <string>

#include "host/export.hpp"

class NRW_API Exception : public std::exception {
 public:
  explicit Exception(std::string message);
  ~Exception() override;
  const char* what() const noexcept override;
  const std::string& Message() const noexcept { return message_; }

 private:
  std::string message_;
};

// A text that cannot be converted to the requested type (strict conversions only).
class NRW_API EConvertError : public Exception {
 public:
  using Exception::Exception;
  ~EConvertError() override;
};

// An object that is not of the class a checked conversion asked for.
class NRW_API EInvalidCast : public Exception {
 public:
  using Exception::Exception;
  ~EInvalidCast() override;
};
