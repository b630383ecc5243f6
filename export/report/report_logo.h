// The logo at the head of the PDF reports.
#pragma once

#include <cstddef>
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

// The body of the logo's image object.
std::string logo_object();

// The entry of a page's XObject resources for the logo: " /Logo 11 0 R"; empty without a logo.
std::string logo_resource(std::size_t object_number);

// The logo at the page's upper right corner, its right edge at 555, its upper edge at 818. Nothing
// without a logo.
void draw_logo(std::string& content);

}  // namespace tvn
