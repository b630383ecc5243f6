// The recordings of a report in the making. Their pages and pictures, some 100 KB each, are kept in
// memory up to a limit and beyond it in a nameless file, so that a person may have any number of
// them.
#pragma once

#include <cstddef>
#include <string>
#include <system_error>
#include <vector>

#include "base/locked_file.h"
#include "export/report/batch_report.h"

namespace tvn {

class EntrySpill {
 public:
  // `folder` is where the file is made when the first one is needed; its name is taken away at
  // once.
  explicit EntrySpill(std::string folder, std::size_t bytes_in_memory = 8'000'000);

  // Adds a recording; on a failure to write, error() tells it from then on.
  void add(BatchReportEntry entry);

  // What was added, in this order; of those in the file without page and pictures.
  const std::vector<BatchReportEntry>& entries() const { return entries_; }

  // Takes out the i-th page with its pictures. Empty, and error() set, when it cannot be read.
  BatchReportPage take_page(std::size_t i);

  std::error_code error() const { return error_; }

 private:
  struct Place {
    std::size_t offset = 0, content = 0, high_time = 0, high_frequency = 0;  // bytes
  };
  void write_out(BatchReportPage& page);
  void open_file();
  std::string read_piece(std::size_t offset, std::size_t size);

  std::string folder_;
  std::size_t room_;
  std::vector<BatchReportEntry> entries_;
  std::vector<Place> places_;  // of the last entries
  FileHandle file_;
  std::size_t file_size_ = 0;
  std::error_code error_;
};

}  // namespace tvn
