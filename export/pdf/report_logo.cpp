#include "export/pdf/report_logo.h"

#include <utility>

namespace tvn {
namespace {

ReportLogo& the_logo() {
  static ReportLogo logo;
  return logo;
}

}  // namespace

void set_report_logo(std::string bytes, std::uint32_t width, std::uint32_t height) {
  the_logo() = {std::move(bytes), static_cast<std::int32_t>(width),
                static_cast<std::int32_t>(height)};
}

const ReportLogo& report_logo() {
  return the_logo();
}

}  // namespace tvn
