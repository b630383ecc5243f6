// The report logo, set for as long as the object lives.
#pragma once

#include <cstdint>
#include <string>

#include "export/report/report_logo.h"

namespace tvn {

class LogoInPlace {
 public:
  LogoInPlace(std::string bytes, std::uint32_t width, std::uint32_t height) {
    set_report_logo(std::move(bytes), width, height);
  }
  LogoInPlace(const LogoInPlace&) = delete;
  LogoInPlace& operator=(const LogoInPlace&) = delete;
  ~LogoInPlace() { set_report_logo("", 0, 0); }
};

}  // namespace tvn
