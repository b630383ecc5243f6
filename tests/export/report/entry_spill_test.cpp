#include "export/report/entry_spill.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <numeric>

#include "tests/base/faulty_read.h"
#include "tests/file_limit.h"
#include "tests/temporary_folder.h"

namespace tvn {
namespace {

BatchReportEntry entry(int i) {
  BatchReportEntry entry;
  entry.name = "r" + std::to_string(i);
  entry.cycle_values = {8.0 + i};
  entry.mean = 8.0 + i;
  entry.page.content = std::string(static_cast<std::size_t>(100 + i), 'c');
  entry.page.high_time.object = std::string(static_cast<std::size_t>(1000 * i), '3');
  entry.page.high_frequency.object = "ten" + std::to_string(i);
  return entry;
}

// Bytes of which no two stretches are alike.
std::string counting(std::size_t size) {
  std::string bytes(size, '\0');
  std::iota(bytes.begin(), bytes.end(), '\0');
  for (std::size_t i = 0; i < size; i += 256) bytes[i] = static_cast<char>(i / 256);
  return bytes;
}

std::string report_of(EntrySpill& spill) {
  std::string file;
  write_batch_report(
      {"anna", {}, 'F', 30}, spill.entries(), [&](std::size_t i) { return spill.take_page(i); },
      [&](std::string_view bytes) { file += bytes; });
  return file;
}

TEST(EntrySpill, WhereThePagesWaitedDoesNotShow) {
  const TemporaryFolder folder;
  BatchReport report;
  report.name = "anna";
  report.sex = 'F';
  report.age = 30;
  for (int i = 0; i < 40; ++i) report.recordings.push_back(entry(i));
  const std::string wanted = batch_report_pdf(std::move(report));
  for (const std::size_t limit : {0u, 50'000u, 32'000'000u}) {
    EntrySpill spill(folder.path(), limit);
    for (int i = 0; i < 40; ++i) spill.add(entry(i));
    EXPECT_EQ(report_of(spill), wanted) << limit;
    EXPECT_FALSE(spill.error());
  }
}

TEST(EntrySpill, ItsFileHasNoName) {
  const TemporaryFolder folder;
  EntrySpill spill(folder.path(), 0);
  spill.add(entry(3));
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
  EXPECT_EQ(spill.entries()[0].name, "r3");
  EXPECT_TRUE(spill.entries()[0].page.content.empty());
}

TEST(EntrySpill, WithoutRoomItTellsWhy) {
  const TemporaryFolder folder;
  {
    const FileLimit full(1500);
    EntrySpill spill(folder.path(), 0);
    for (int i = 0; i < 3; ++i) spill.add(entry(i));
    EXPECT_EQ(spill.error(), std::errc::file_too_large);
  }
  EntrySpill nowhere(folder / "none", 0);
  nowhere.add(entry(1));
  EXPECT_EQ(nowhere.error(), std::errc::no_such_file_or_directory);
}

TEST(EntrySpill, APageReadInPiecesIsWhole) {
  const TemporaryFolder folder;
  EntrySpill spill(folder.path(), 0);
  spill.add(entry(1));
  BatchReportEntry wanted = entry(2);
  wanted.page.content = counting(3500);
  spill.add(wanted);
  int reads = 0;
  const FaultyRead interrupted([&reads] { return ++reads % 3 == 0 ? EINTR : 0; });
  const BatchReportPage page = spill.take_page(1);
  EXPECT_EQ(page.content, counting(3500));
  EXPECT_EQ(page.high_time.object, std::string(2000, '3'));
  EXPECT_EQ(page.high_frequency.object, "ten2");
  EXPECT_FALSE(spill.error());
  EXPECT_GE(reads, 7);
}

TEST(EntrySpill, APageThatCannotBeReadIsAnError) {
  const TemporaryFolder folder;
  EntrySpill spill(folder.path(), 0);
  spill.add(entry(1));
  int reads = 0;
  const FaultyRead broken([&reads] { return ++reads == 2 ? EIO : 0; });
  const BatchReportPage page = spill.take_page(0);
  EXPECT_EQ(page.content, std::string(101, 'c'));
  EXPECT_EQ(page.high_time.object, "");
  EXPECT_EQ(page.high_frequency.object, "");
  EXPECT_EQ(spill.error(), std::errc::io_error);
  EXPECT_EQ(reads, 2);
}

}  // namespace
}  // namespace tvn
