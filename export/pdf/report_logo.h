// The logo at the head of the PDF reports.
#pragma once

#include <cstdint>
#include <string>

namespace tvn {

struct ReportLogo {
  std::string bytes;        // a JPEG file
  std::int32_t width = 0;   // pixels
  std::int32_t height = 0;  // pixels
  bool is_present() const { return !bytes.empty() && width >= 1 && height >= 1; }
};

// Sets the process-wide logo; called once at start-up, before other threads exist.
void set_report_logo(std::string bytes, std::uint32_t width, std::uint32_t height);

// The logo as set; not present before.
const ReportLogo& report_logo();

}  // namespace tvn
