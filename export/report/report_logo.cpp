#include "export/report/report_logo.h"

#include <utility>

#include "export/pdf/pdf_content.h"
#include "export/pdf/pdf_file.h"

namespace tvn {
namespace {

constexpr double k_logo_width = 118;
constexpr double k_logo_top = 818;
constexpr double k_logo_left = 437;

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

std::string logo_object() {
  const ReportLogo& logo = report_logo();
  return jpeg_image_object(logo.bytes, static_cast<std::uint32_t>(logo.width),
                           static_cast<std::uint32_t>(logo.height));
}

std::string logo_resource(std::size_t object_number) {
  if (!report_logo().is_present()) return "";
  return " /Logo " + std::to_string(object_number) + " 0 R";
}

void draw_logo(std::string& content) {
  const ReportLogo& logo = report_logo();
  if (!logo.is_present()) return;
  const double height = static_cast<double>(logo.height) * k_logo_width / logo.width;
  pdf_image(content, "Logo", k_logo_left, k_logo_top - height, k_logo_width, height);
}

}  // namespace tvn
