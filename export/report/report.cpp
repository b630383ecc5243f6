#include "export/report/report.h"

#include "analysis/tfr/image.h"
#include "export/pdf/pdf_file.h"
#include "export/report/cycle_strip.h"
#include "export/report/report_logo.h"
#include "export/report/report_parts.h"

namespace tvn {
namespace {

constexpr std::size_t k_pages = 2;
constexpr double k_strip_width = 483;
constexpr double k_strip_height = 46;
constexpr double k_cycles_left = 283.46;  // centred below the strip
constexpr double k_page_number_left = 275;

// The objects' numbers in the file, beside 1, the catalog, and 2, the pages.
enum ObjectNumber : std::size_t {
  k_page_1 = 3,
  k_page_2 = 4,
  k_content_1 = 5,
  k_content_2 = 6,
  k_regular = 7,
  k_bold = 8,
  k_high_time = 9,
  k_high_frequency = 10,
  k_logo = 11,
};

std::string first_page(const Report& report) {
  std::string content;
  const double below_table =
      draw_report_head(content, "Recording: " + report.name, 12, report.table);
  const double title = below_table - 18;
  draw_strip_title(content, "TVN (logpower)", title);
  const double base = title - 14 - k_strip_height;
  draw_cycle_strip(content, report.cycle_values, normative_log_power(report.sex, report.age),
                   {k_page_left, k_strip_width, base, k_strip_height});
  draw_cycles_caption(content, k_cycles_left, base);
  pdf_text(content, mean_text(report.mean), true, k_page_left, base - 46, 10, k_pdf_black);
  draw_page_number(content, 1, k_pages, k_page_number_left);
  return content;
}

std::string second_page(const Report& report, const PicturePair& pictures) {
  std::string content;
  draw_recording_page(content,
                      {report.name, report.hr_series, report.markers, report.cycle_seconds,
                       pictures.high_time, pictures.high_frequency},
                      "Im1", "Im2");
  draw_page_number(content, 2, k_pages, k_page_number_left);
  return content;
}

std::string second_page_images() {
  return " /Im1 " + pdf_reference(k_high_time) + " /Im2 " + pdf_reference(k_high_frequency) +
         logo_resource(k_logo);
}

}  // namespace

std::string report_pdf(const Report& report) {
  PicturePair pictures = picture_pair(report.high_time, report.high_frequency);
  const PageFonts fonts = {k_regular, k_bold};
  std::vector<std::string> objects = {
      std::string(k_pdf_catalog),
      "<< /Type /Pages /Kids [" + pdf_reference(k_page_1) + " " + pdf_reference(k_page_2) +
          "] /Count 2 >>",
      page_object(fonts, logo_resource(k_logo), k_content_1),
      page_object(fonts, second_page_images(), k_content_2),
      pdf_content_object(first_page(report)),
      pdf_content_object(second_page(report, pictures)),
      std::string(k_pdf_helvetica),
      std::string(k_pdf_helvetica_bold),
      std::move(pictures.high_time.object),
      std::move(pictures.high_frequency.object),
  };
  if (!logo_resource(k_logo).empty()) objects.push_back(logo_object());
  return pdf_assemble(objects);
}

bool write_report(const std::string& path, const Report& report) {
  return pdf_write(path, report_pdf(report));
}

}  // namespace tvn
