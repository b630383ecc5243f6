#include "session/journal_format.h"

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <optional>

#include "base/names.h"
#include "base/rounding.h"

namespace tvn {
namespace {

constexpr std::string_view k_magic = "TVN-RUN\n";
constexpr std::uint32_t k_version = 1;
constexpr std::size_t k_head_bytes = 12;
constexpr std::size_t k_check_bytes = 4;
constexpr std::size_t k_samples_per_record = 16384;
constexpr std::size_t k_longest_payload = 8 + 4 * k_samples_per_record;

enum RecordType : std::uint32_t { k_settings = 1, k_samples = 2, k_marker = 3, k_saved = 4 };

std::uint32_t checksum(std::string_view bytes) {
  const auto* data = reinterpret_cast<const Bytef*>(bytes.data());
  return static_cast<std::uint32_t>(crc32(0, data, static_cast<uInt>(bytes.size())));
}

// Least significant byte first, whatever the machine.
template <typename Integer>
void append_integer(std::string& bytes, Integer value) {
  for (std::size_t i = 0; i < sizeof value; ++i) {
    bytes += static_cast<char>(static_cast<unsigned char>((value >> (8 * i)) & 0xFF));
  }
}

void append_double(std::string& bytes, double value) {
  append_integer(bytes, std::bit_cast<std::uint64_t>(value));
}

// Takes values off the front of a payload whose length has been checked.
class Payload {
 public:
  explicit Payload(std::string_view bytes) : rest_(bytes) {}
  template <typename Integer>
  Integer integer() {
    Integer value = 0;
    for (std::size_t i = 0; i < sizeof value; ++i) {
      const auto byte = static_cast<Integer>(static_cast<unsigned char>(rest_[i]));
      value = static_cast<Integer>(value | static_cast<Integer>(byte << (8 * i)));
    }
    rest_.remove_prefix(sizeof value);
    return value;
  }
  double real() { return std::bit_cast<double>(integer<std::uint64_t>()); }
  std::string_view rest() const { return rest_; }

 private:
  std::string_view rest_;
};

void append_record(std::string& bytes, RecordType type, std::string_view payload) {
  const std::size_t begin = bytes.size();
  append_integer(bytes, static_cast<std::uint32_t>(payload.size()));
  append_integer(bytes, static_cast<std::uint32_t>(type));
  append_integer(bytes, checksum(std::string_view(bytes).substr(begin)));
  bytes += payload;
  append_integer(bytes, checksum(payload));
}

struct RecordHead {
  std::size_t length;  // of the payload
  std::uint32_t type;
};

// The head of a record at the begin of `bytes`; none when there is none. Heads that cannot be are
// seen before a checksum is computed: garbage is looked through byte by byte.
std::optional<RecordHead> head_at(std::string_view bytes) {
  if (bytes.size() < k_head_bytes) return std::nullopt;
  Payload fields(bytes);
  const RecordHead head{fields.integer<std::uint32_t>(), fields.integer<std::uint32_t>()};
  if (head.length > k_longest_payload || head.type < k_settings || head.type > k_saved) {
    return std::nullopt;
  }
  if (fields.integer<std::uint32_t>() != checksum(bytes.substr(0, 8))) return std::nullopt;
  return head;
}

std::size_t record_bytes(const RecordHead& head) {
  return k_head_bytes + head.length + k_check_bytes;
}

struct Record {
  std::uint32_t type;
  std::string_view payload;
};

std::optional<Record> record_at(std::string_view bytes) {
  const std::optional<RecordHead> head = head_at(bytes);
  if (!head || bytes.size() < record_bytes(*head)) return std::nullopt;
  const std::string_view payload = bytes.substr(k_head_bytes, head->length);
  Payload check(bytes.substr(k_head_bytes + head->length));
  if (check.integer<std::uint32_t>() != checksum(payload)) return std::nullopt;
  return Record{head->type, payload};
}

// Whether all of `bytes` is the begin of one record, whose end was never written.
bool is_torn_record(std::string_view bytes) {
  if (bytes.size() < k_head_bytes) return true;
  const std::optional<RecordHead> head = head_at(bytes);
  return head && bytes.size() < record_bytes(*head);
}

bool is_breath(double seconds) {
  return std::isfinite(seconds) && seconds > 0;
}

bool take_settings(std::string_view payload, JournalContent& content) {
  if (payload.size() < 21) return false;
  Payload fields(payload);
  RecordingSettings settings;
  settings.indur = fields.real();
  settings.outdur = fields.real();
  if (!is_breath(settings.indur) || !is_breath(settings.outdur)) return false;
  settings.age = static_cast<std::int32_t>(fields.integer<std::uint32_t>());
  settings.sex = fields.integer<std::uint8_t>() == 'F' ? "F" : "M";
  settings.base_name = sanitise_name(fields.rest());  // a name that leads nowhere else
  content.settings = std::move(settings);
  return true;
}

// `lost` is how many samples the bytes that could not be read before this record can have held.
bool take_samples(std::string_view payload, std::size_t lost, JournalContent& content) {
  if (payload.size() < 8 || payload.size() % 4 != 0) return false;
  Payload fields(payload);
  const auto first = fields.integer<std::uint64_t>();
  std::vector<double>& samples = content.samples;
  if (first < samples.size() || first - samples.size() > lost) return false;
  samples.resize(static_cast<std::size_t>(first), samples.empty() ? 0.0 : samples.back());
  while (!fields.rest().empty()) {
    samples.push_back(static_cast<std::int32_t>(fields.integer<std::uint32_t>()));
  }
  return true;
}

bool take_marker(std::string_view payload, JournalContent& content) {
  if (payload.size() != 12) return false;
  Payload fields(payload);
  const auto sample = static_cast<std::int64_t>(fields.integer<std::uint64_t>());
  content.markers.push_back({sample, static_cast<std::int32_t>(fields.integer<std::uint32_t>())});
  return true;
}

bool take_saved(std::string_view payload, JournalContent& content) {
  if (payload.size() != 16) return false;
  Payload fields(payload);
  const auto samples = static_cast<std::size_t>(fields.integer<std::uint64_t>());
  const auto markers = static_cast<std::size_t>(fields.integer<std::uint64_t>());
  content.saved = std::max(content.saved, samples);
  content.saved_markers = std::max(content.saved_markers, markers);
  return true;
}

bool take_record(const Record& record, std::size_t lost, JournalContent& content) {
  switch (record.type) {
    case k_settings:
      return take_settings(record.payload, content);
    case k_samples:
      return take_samples(record.payload, lost, content);
    case k_marker:
      return take_marker(record.payload, content);
    default:
      return take_saved(record.payload, content);
  }
}

// Markers lie within what was read; so does what was saved.
void trim(JournalContent& content) {
  const auto end = static_cast<std::int64_t>(content.samples.size());
  std::erase_if(content.markers, [end](const Marker& marker) {
    return marker.sample_index < 0 || marker.sample_index > end || marker.key < 1 || marker.key > 9;
  });
  content.saved = std::min(content.saved, content.samples.size());
  content.saved_markers = std::min(content.saved_markers, content.markers.size());
}

}  // namespace

std::string journal_head() {
  std::string bytes(k_magic);
  append_integer(bytes, k_version);
  return bytes;
}

void append_settings_record(std::string& bytes, const RecordingSettings& settings) {
  std::string payload;
  append_double(payload, settings.indur);
  append_double(payload, settings.outdur);
  append_integer(payload, static_cast<std::uint32_t>(settings.age));
  append_integer(payload, static_cast<std::uint8_t>(settings.sex == "F" ? 'F' : 'M'));
  append_record(bytes, k_settings, payload + fit_base_name(settings.base_name, 0));
}

void append_samples_records(std::string& bytes, std::size_t first,
                            std::span<const double> samples) {
  while (!samples.empty()) {
    const auto piece = samples.first(std::min(samples.size(), k_samples_per_record));
    std::string payload;
    append_integer(payload, static_cast<std::uint64_t>(first));
    for (const double sample : piece) {
      append_integer(payload, static_cast<std::uint32_t>(round_to_integer<std::int32_t>(sample)));
    }
    append_record(bytes, k_samples, payload);
    first += piece.size();
    samples = samples.subspan(piece.size());
  }
}

void append_marker_record(std::string& bytes, const Marker& marker) {
  std::string payload;
  append_integer(payload, static_cast<std::uint64_t>(marker.sample_index));
  append_integer(payload, static_cast<std::uint32_t>(marker.key));
  append_record(bytes, k_marker, payload);
}

void append_saved_record(std::string& bytes, std::size_t samples, std::size_t markers) {
  std::string payload;
  append_integer(payload, static_cast<std::uint64_t>(samples));
  append_integer(payload, static_cast<std::uint64_t>(markers));
  append_record(bytes, k_saved, payload);
}

JournalContent read_journal(std::string_view bytes) {
  JournalContent content;
  const std::string head = journal_head();
  if (bytes.size() < head.size()) {
    content.damaged = !head.starts_with(bytes);
    return content;
  }
  content.damaged = !bytes.starts_with(head);
  bytes.remove_prefix(head.size());
  std::size_t unread = 0;      // bytes since the last samples that gave nothing
  bool after_a_record = true;  // the bytes before these were understood
  while (!bytes.empty()) {
    const std::optional<Record> record = record_at(bytes);
    if (record && take_record(*record, unread / 4, content)) {
      if (record->type == k_samples) unread = 0;
      bytes.remove_prefix(k_head_bytes + record->payload.size() + k_check_bytes);
      after_a_record = true;
    } else if (after_a_record && is_torn_record(bytes)) {
      break;
    } else {
      content.damaged = true;
      after_a_record = false;
      bytes.remove_prefix(1);
      ++unread;
    }
  }
  trim(content);
  return content;
}

}  // namespace tvn
