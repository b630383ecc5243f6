#include "assets/assets.h"

#include <functional>
#include <map>

extern "C" {
extern const char tvn_asset_page_begin[], tvn_asset_page_end[];
extern const char tvn_asset_ball_begin[], tvn_asset_ball_end[];
extern const char tvn_asset_piano_begin[], tvn_asset_piano_end[];
extern const char tvn_asset_logo_begin[], tvn_asset_logo_end[];
extern const char tvn_asset_sample_1_begin[], tvn_asset_sample_1_end[];
extern const char tvn_asset_sample_2_begin[], tvn_asset_sample_2_end[];
}

namespace tvn {
namespace {

using AssetTable = std::map<std::string, std::string, std::less<>>;

AssetTable build_table() {
  return {
      {"index.html", {tvn_asset_page_begin, tvn_asset_page_end}},
      {"ball.png", {tvn_asset_ball_begin, tvn_asset_ball_end}},
      {"piano.wav", {tvn_asset_piano_begin, tvn_asset_piano_end}},
      {"report_logo.jpg", {tvn_asset_logo_begin, tvn_asset_logo_end}},
      {"Sample 1.txt", {tvn_asset_sample_1_begin, tvn_asset_sample_1_end}},
      {"Sample 2.txt", {tvn_asset_sample_2_begin, tvn_asset_sample_2_end}},
  };
}

}  // namespace

const std::string* find_asset(std::string_view name) {
  static const AssetTable table = build_table();
  const auto found = table.find(name);
  return found == table.end() ? nullptr : &found->second;
}

}  // namespace tvn
