#include "export/report/entry_spill.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <utility>

#include "base/files.h"
#include "base/growing_file.h"

namespace tvn {
namespace {

std::size_t size_of(const BatchReportPage& page) {
  return page.content.size() + page.high_time.object.size() + page.high_frequency.object.size();
}

}  // namespace

EntrySpill::EntrySpill(std::string folder, std::size_t bytes_in_memory)
    : folder_(std::move(folder)), room_(bytes_in_memory) {}

void EntrySpill::add(BatchReportEntry entry) {
  const std::size_t size = size_of(entry.page);
  if (places_.empty() && size <= room_) {
    room_ -= size;
  } else {
    write_out(entry.page);
  }
  entries_.push_back(std::move(entry));
}

void EntrySpill::write_out(BatchReportPage& page) {
  if (places_.empty()) open_file();
  places_.push_back({file_size_, page.content.size(), page.high_time.object.size(),
                     page.high_frequency.object.size()});
  for (std::string* piece : {&page.content, &page.high_time.object, &page.high_frequency.object}) {
    if (!error_) error_ = write_all(file_.get(), *piece);
    file_size_ += piece->size();
    std::string().swap(*piece);  // an assignment would keep the memory
  }
}

void EntrySpill::open_file() {
  NewFile made = create_unfinished_file(folder_);
  error_ = made.error;
  if (error_) return;
  // The name was only for making it; the file is to be read again as well.
  file_ = FileHandle(::open(made.path.c_str(), O_RDWR | O_CLOEXEC));
  if (!file_.is_open()) error_ = {errno, std::generic_category()};
  ::unlink(made.path.c_str());
}

BatchReportPage EntrySpill::take_page(std::size_t i) {
  const std::size_t in_memory = entries_.size() - places_.size();
  BatchReportPage page = std::exchange(entries_[i].page, {});
  if (i < in_memory) return page;
  const Place& place = places_[i - in_memory];
  std::size_t offset = place.offset;
  const auto next = [&](std::size_t size) {
    std::string piece = read_piece(offset, size);
    offset += size;
    return piece;
  };
  page.content = next(place.content);
  page.high_time.object = next(place.high_time);
  page.high_frequency.object = next(place.high_frequency);
  return page;
}

std::string EntrySpill::read_piece(std::size_t offset, std::size_t size) {
  std::string piece(size, '\0');
  std::size_t filled = 0;
  while (!error_ && filled < size) {
    const ssize_t got = ::pread(file_.get(), piece.data() + filled, size - filled,
                                static_cast<off_t>(offset + filled));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) error_ = {errno, std::generic_category()};
    if (got == 0) error_ = std::make_error_code(std::errc::io_error);
    if (got > 0) filled += static_cast<std::size_t>(got);
  }
  return error_ ? std::string() : piece;
}

}  // namespace tvn
