// One time-frequency picture on a report's page, with its title, frequency axis and markers.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "export/pdf/pdf_content.h"
#include "export/pdf/pdf_file.h"

namespace tvn {

// Draws the image resource `name` below `top` over the plots' width, in the image's proportions,
// and returns the next free y. A picture that would reach below the page's margin is made lower. An
// image without pixels draws nothing and returns `top`.
// total_seconds: what the picture's width stands for, for the markers.
double tfr_block(std::string& content, const PdfPicture& image, std::string_view name,
                 std::string_view title, std::span<const PdfMarker> markers, double total_seconds,
                 double top);

}  // namespace tvn
