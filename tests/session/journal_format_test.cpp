#include "session/journal_format.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <limits>

namespace tvn {
namespace {

using testing::IsEmpty;

const RecordingSettings k_anna{"anna", 5.5, 10.25, "F", 33};

// Samples that no neighbour equals, so that a wrong place shows.
std::vector<double> ramp(std::size_t first, std::size_t count) {
  std::vector<double> samples(count);
  for (std::size_t i = 0; i < count; ++i) samples[i] = static_cast<double>(first + i) * 3 - 1000;
  return samples;
}

// A journal of 8 pieces of 65 samples, half a second each, and the lengths of it at which a record
// ends.
struct Journal {
  std::string bytes = journal_head();
  std::vector<std::size_t> ends = {bytes.size()};
  std::vector<std::size_t> samples_until = {0};  // at those ends

  Journal() {
    append_settings_record(bytes, k_anna);
    note(0);
    for (std::size_t i = 0; i < 8; ++i) {
      append_samples_records(bytes, 65 * i, ramp(65 * i, 65));
      note(65 * (i + 1));
      if (i != 3 && i != 6) continue;
      append_marker_record(bytes, {static_cast<std::int64_t>(65 * i), static_cast<int>(i)});
      note(65 * (i + 1));
    }
  }
  void note(std::size_t samples) {
    ends.push_back(bytes.size());
    samples_until.push_back(samples);
  }
};

// The layout of the format's page, byte by byte; the checksums were computed by Python's zlib.crc32
// over struct.pack("<II", 12, 3) and struct.pack("<qi", 0x0102030405, 7).
TEST(JournalFormat, IsLaidOutAsItsPageSays) {
  std::string bytes = journal_head();
  EXPECT_EQ(bytes, std::string("TVN-RUN\n\x01\0\0\0", 12));
  bytes.clear();
  append_marker_record(bytes, {0x0102030405, 7});
  ASSERT_EQ(bytes.size(), 12u + 12 + 4);
  EXPECT_EQ(bytes.substr(0, 8), std::string("\x0c\0\0\0\x03\0\0\0", 8));
  EXPECT_EQ(bytes.substr(8, 4), std::string("\xc8\x65\x38\x20", 4));
  EXPECT_EQ(bytes.substr(12, 12), std::string("\x05\x04\x03\x02\x01\0\0\0\x07\0\0\0", 12));
  EXPECT_EQ(bytes.substr(24, 4), std::string("\x5f\x69\x13\xc7", 4));
  bytes.clear();
  append_samples_records(bytes, 2, std::vector<double>{1, -2.5, 5e9});
  EXPECT_EQ(bytes.substr(12, 20),
            std::string("\x02\0\0\0\0\0\0\0\x01\0\0\0\xfd\xff\xff\xff\xff\xff\xff\x7f", 20));
}

TEST(JournalFormat, ReadsBackWhatWasWritten) {
  Journal journal;
  append_saved_record(journal.bytes, 130, 1);
  append_settings_record(journal.bytes, {"Eva", 4, 6, "M", -3});  // changed during the run
  const JournalContent content = read_journal(journal.bytes);
  EXPECT_FALSE(content.damaged);
  EXPECT_EQ(content.settings, (RecordingSettings{"Eva", 4, 6, "M", -3}));
  EXPECT_EQ(content.samples, ramp(0, 520));
  ASSERT_EQ(content.markers.size(), 2u);
  EXPECT_EQ(content.markers[1].sample_index, 390);
  EXPECT_EQ(content.markers[1].key, 6);
  EXPECT_EQ(content.saved, 130u);
  EXPECT_EQ(content.saved_markers, 1u);
}

// Half an hour in one piece is more than a record holds.
TEST(JournalFormat, LongPiecesBecomeSeveralRecords) {
  std::string bytes = journal_head();
  append_samples_records(bytes, 0, ramp(0, 234000));
  const JournalContent content = read_journal(bytes);
  EXPECT_FALSE(content.damaged);
  EXPECT_EQ(content.samples, ramp(0, 234000));
}

TEST(JournalFormat, CutAtAnyByteItGivesEveryWholeRecordAndIsNotDamaged) {
  const Journal journal;
  for (std::size_t length = 0; length <= journal.bytes.size(); ++length) {
    const JournalContent content = read_journal(journal.bytes.substr(0, length));
    std::size_t samples = 0;
    for (std::size_t i = 0; i < journal.ends.size() && journal.ends[i] <= length; ++i) {
      samples = journal.samples_until[i];
    }
    ASSERT_FALSE(content.damaged) << length;
    ASSERT_EQ(content.samples, ramp(0, samples)) << length;
  }
}

// The record that is hit is lost and no other: its samples become a flat line, so that the later
// ones keep their place.
TEST(JournalFormat, AFlippedBitCostsOneRecordAndIsSeen) {
  const Journal journal;
  for (std::size_t at = 0; at < journal.bytes.size(); ++at) {
    for (int bit = 0; bit < 8; ++bit) {
      std::string bytes = journal.bytes;
      bytes[at] = static_cast<char>(bytes[at] ^ (1 << bit));
      const JournalContent content = read_journal(bytes);
      ASSERT_TRUE(content.damaged) << at << ", " << bit;
      const std::vector<double> whole = ramp(0, 520);
      const bool hit_the_last = at >= journal.ends[journal.ends.size() - 2];
      ASSERT_EQ(content.samples.size(), hit_the_last ? 455u : 520u) << at << ", " << bit;
      std::size_t wrong = 0;
      for (std::size_t i = 0; i < content.samples.size(); ++i)
        wrong += content.samples[i] != whole[i];
      ASSERT_LE(wrong, 65u) << at << ", " << bit;
      ASSERT_GE(content.markers.size(), 1u);
    }
  }
}

TEST(JournalFormat, ADamagedPieceIsAFlatLine) {
  const Journal journal;
  std::string bytes = journal.bytes;
  bytes[journal.ends[2] + 40] ^= 1;  // the second piece
  const std::vector<double> samples = read_journal(bytes).samples;
  ASSERT_EQ(samples.size(), 520u);
  EXPECT_THAT(std::vector<double>(samples.begin() + 65, samples.begin() + 130),
              testing::Each(ramp(64, 1)[0]));
  EXPECT_EQ(std::vector<double>(samples.begin() + 130, samples.end()), ramp(130, 390));
}

TEST(JournalFormat, GarbageGivesNothingAndIsDamaged) {
  EXPECT_FALSE(read_journal("").damaged);
  for (const std::string& bytes :
       {std::string("recording"), std::string(3'000'000, '\0'), std::string(3'000'000, '\x01')}) {
    const JournalContent content = read_journal(bytes);
    EXPECT_TRUE(content.damaged);
    EXPECT_THAT(content.samples, IsEmpty());
    EXPECT_EQ(content.settings.base_name, "recording");
  }
  // A power cut may leave zeros where the last records were to be.
  Journal journal;
  journal.bytes += std::string(4096, '\0');
  const JournalContent content = read_journal(journal.bytes);
  EXPECT_TRUE(content.damaged);
  EXPECT_EQ(content.samples, ramp(0, 520));
}

// Whole records with values that no writer writes.
TEST(JournalFormat, ImpossibleValuesAreNotBelieved) {
  std::string bytes = journal_head();
  append_settings_record(bytes, {"../../etc/passwd", 5, 11, "F", 40});
  append_samples_records(bytes, 0, ramp(0, 100));
  append_samples_records(bytes, std::size_t{1} << 60, ramp(0, 10));
  append_samples_records(bytes, 50, ramp(50, 10));
  append_marker_record(bytes, {99, 10});
  append_marker_record(bytes, {-1, 1});
  append_marker_record(bytes, {101, 1});
  append_marker_record(bytes, {100, 9});
  append_marker_record(bytes, {0, 1});
  append_saved_record(bytes, std::size_t{1} << 60, std::size_t{1} << 60);
  const JournalContent content = read_journal(bytes);
  EXPECT_TRUE(content.damaged);
  EXPECT_EQ(content.settings.base_name, ".._.._etc_passwd");
  EXPECT_EQ(content.samples, ramp(0, 100));
  ASSERT_EQ(content.markers.size(), 2u);
  EXPECT_EQ(content.markers[0].key, 9);
  EXPECT_EQ(content.markers[1].sample_index, 0);
  EXPECT_EQ(content.saved, 100u);
  EXPECT_EQ(content.saved_markers, 2u);
}

// They would stand in the name of the recording.
TEST(JournalFormat, BreathsThatNoRunHasAreDamage) {
  constexpr double k_not_a_number = std::numeric_limits<double>::quiet_NaN();
  constexpr double k_endless = std::numeric_limits<double>::infinity();
  for (const double breath : {k_not_a_number, k_endless, -k_endless, 0.0, -5.0}) {
    for (const bool inward : {true, false}) {
      std::string bytes = journal_head();
      append_settings_record(bytes, {"Eva", 4, 6, "F", 33});
      append_settings_record(bytes, {"anna", inward ? breath : 5, inward ? 11 : breath, "M", 50});
      append_samples_records(bytes, 0, ramp(0, 100));
      const JournalContent content = read_journal(bytes);
      EXPECT_TRUE(content.damaged);
      EXPECT_EQ(content.settings, (RecordingSettings{"Eva", 4, 6, "F", 33})) << breath;
      EXPECT_EQ(content.samples, ramp(0, 100));
    }
  }
}

TEST(JournalFormat, ALongNameIsCut) {
  std::string bytes = journal_head();
  append_settings_record(bytes, {std::string(100'000, 'n'), 5, 11, "F", 40});
  EXPECT_EQ(read_journal(bytes).settings.base_name, std::string(255, 'n'));
}

}  // namespace
}  // namespace tvn
