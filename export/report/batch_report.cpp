#include "export/report/batch_report.h"

#include <array>
#include <utility>

#include "analysis/tfr/image.h"
#include "export/pdf/fitted_text.h"
#include "export/report/cycle_strip.h"
#include "export/report/report_logo.h"
#include "export/report/report_parts.h"

namespace tvn {
namespace {

// The names stand to the left of the strips.
constexpr double k_strip_left = 194;
constexpr double k_strip_width = 345;
constexpr double k_strip_height = 30;
constexpr double k_row_pitch = 56;        // strip, cycle numbers and a gap
constexpr double k_lowest_base = 66;      // leaves room for the caption and the page number
constexpr double k_cycles_left = 352.46;  // centred below the strips
constexpr double k_page_number_left = 262;
constexpr double k_label_size = 8.5;
constexpr double k_label_width = k_strip_left - k_page_left - 8;

constexpr std::array<std::string_view, 3> k_warning = {
    "Batch processing: age & sex were not set per person, so the age/sex-normalised level",
    "may be inaccurate - the red/grey colour thresholds below should be ignored. For an",
    "interpretable report, use 'Import folder' and set the correct age and sex for this person."};

constexpr std::size_t k_objects_per_strips = 2;
constexpr std::size_t k_objects_per_recording = 4;
constexpr PageFonts k_fonts = {3, 4};
constexpr std::size_t k_logo = 5;  // when there is a logo

void draw_warning(std::string& content, double y) {
  double below = 10;
  for (const std::string_view line : k_warning) {
    pdf_text(content, line, false, 62, y - below, 9, {0.55, 0.3, 0.0});
    below += 12;
  }
}

void draw_strip_row(std::string& content, const BatchReportEntry& recording, double level,
                    double base) {
  const double middle = base + k_strip_height / 2;
  pdf_text_within(content, recording.name, false, k_page_left, middle + 3, k_label_size,
                  pdf_grey(0.1), {k_label_width});
  pdf_text(content, mean_text(recording.mean), true, k_page_left, middle - 9, k_label_size,
           k_pdf_black);
  if (recording.cycle_values.empty()) {
    pdf_text(content, "(no complete breathing cycle)", false, k_strip_left, middle - 3, 9,
             pdf_grey(0.5));
  }
  draw_cycle_strip(content, recording.cycle_values, level,
                   {k_strip_left, k_strip_width, base, k_strip_height});
}

// The head of the first page; returns where its strips' title stands.
double draw_first_head(std::string& content, const BatchReportHead& report) {
  const double below_table = draw_report_head(content, "Name: " + report.name, 13, report.table);
  if (!report.own_values) draw_warning(content, below_table);
  return below_table - 60;
}

double draw_continued_head(std::string& content, const BatchReportHead& report) {
  draw_top_line(content, "Name: " + report.name, 13);
  return 770;
}

// The pages of strips but for their footers. After the first there is always room for rows.
std::vector<std::string> strip_pages(const BatchReportHead& report,
                                     std::span<const BatchReportEntry> recordings) {
  const double level = normative_log_power(report.sex, report.age);
  std::vector<std::string> pages;
  std::size_t next = 0;
  do {
    std::string content;
    const bool first = pages.empty();
    const double title =
        first ? draw_first_head(content, report) : draw_continued_head(content, report);
    draw_strip_title(content, first ? "TVN (logpower)" : "TVN (logpower), continued", title);
    double base = title - 14 - k_strip_height;
    const std::size_t begin = next;
    while (next < recordings.size() && base >= k_lowest_base) {
      draw_strip_row(content, recordings[next++], level, base);
      base -= k_row_pitch;
    }
    if (next > begin) draw_cycles_caption(content, k_cycles_left, base + k_row_pitch);
    pages.push_back(std::move(content));
  } while (next < recordings.size());
  return pages;
}

// The file while it grows. Which object has which number is known before: catalog, pages, two
// fonts and the logo, then two objects per page of strips and four per recording.
class PageWriter {
 public:
  PageWriter(const ByteSink& sink, std::size_t n_strip_pages, std::size_t n_recordings)
      : file_(sink), count_(n_strip_pages + n_recordings), next_(1) {
    const bool logo = report_logo().is_present();
    add(k_pdf_catalog);
    add(pages_object(logo ? k_logo + 1 : k_logo, n_strip_pages));
    add(k_pdf_helvetica);
    add(k_pdf_helvetica_bold);
    if (logo) add(logo_object());
  }

  void add_strips(std::string content) { add_page(std::move(content), ""); }

  void add_recording(BatchReportPage page) {
    const std::size_t image = next_ + k_objects_per_strips;  // after the page and its content
    add_page(std::move(page.content),
             " /ImA " + pdf_reference(image) + " /ImB " + pdf_reference(image + 1));
    add(page.high_time.object);
    add(page.high_frequency.object);
  }

  void end() { file_.end(); }

 private:
  std::string pages_object(std::size_t first_page, std::size_t n_strip_pages) const {
    std::string kids;
    std::size_t object = first_page;
    for (std::size_t page = 0; page < count_; ++page) {
      kids += (kids.empty() ? "" : " ") + pdf_reference(object);
      object += page < n_strip_pages ? k_objects_per_strips : k_objects_per_recording;
    }
    return "<< /Type /Pages /Kids [" + kids + "] /Count " + std::to_string(count_) + " >>";
  }

  void add(std::string_view object) {
    file_.add(object);
    ++next_;
  }

  void add_page(std::string content, const std::string& images) {
    draw_page_number(content, ++pages_, count_, k_page_number_left);
    add(page_object(k_fonts, images + logo_resource(k_logo), next_ + 1));
    add(pdf_content_object(content));
  }

  PdfWriter file_;
  std::size_t count_;      // of the pages
  std::size_t next_;       // object number
  std::size_t pages_ = 0;  // so far
};

}  // namespace

BatchReportEntry batch_report_entry(const BatchRecording& recording, double cycle_seconds,
                                    unsigned threads) {
  PicturePair pictures = picture_pair(recording.high_time, recording.high_frequency, threads);
  BatchReportEntry entry;
  entry.page.high_time = std::move(pictures.high_time);
  entry.page.high_frequency = std::move(pictures.high_frequency);
  entry.name = recording.name;
  entry.cycle_values.assign(recording.cycle_values.begin(), recording.cycle_values.end());
  entry.mean = recording.mean;
  draw_recording_page(entry.page.content,
                      {recording.name, recording.hr_series, recording.markers, cycle_seconds,
                       entry.page.high_time, entry.page.high_frequency},
                      "ImA", "ImB");
  return entry;
}

void write_batch_report(const BatchReportHead& head, std::span<const BatchReportEntry> recordings,
                        const TakePage& take_page, const ByteSink& sink) {
  std::vector<std::string> strips = strip_pages(head, recordings);
  PageWriter pages(sink, strips.size(), recordings.size());
  for (std::string& content : strips) pages.add_strips(std::move(content));
  for (std::size_t i = 0; i < recordings.size(); ++i) pages.add_recording(take_page(i));
  pages.end();
}

std::string batch_report_pdf(BatchReport report) {
  std::string file;
  const auto take_page = [&](std::size_t i) { return std::move(report.recordings[i].page); };
  write_batch_report(report, report.recordings, take_page,
                     [&file](std::string_view bytes) { file += bytes; });
  return file;
}

bool write_batch_report(const std::string& path, BatchReport report) {
  return pdf_write(path, batch_report_pdf(std::move(report)));
}

}  // namespace tvn
