// A study's people with values of their own: a CSV file (RFC 4180) with a head and a line per
// person.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "batch/command/person_plan.h"

namespace tvn {

// Gives every person of the plan the values of their line in `text`, whose first line is
// "folder,sex,age,in,out". A folder is the one with the recordings, or as much of the end of its
// path as tells it from others: "P01" or "site A/P01". Sex is F or M, age whole years; in and out
// are seconds, and empty they are the common ones. Returns what is wrong, each fault with its
// line's number, `name`:3: ..., and persons without a line; the plan is then not to be used.
std::vector<std::string> apply_people(std::string_view text, const std::string& name,
                                      std::vector<PersonPlan>& plans);

}  // namespace tvn
