#pragma once

#include <memory>
#include <string>

#include "platform/NSView.h"

namespace korvane {

/// A container of that size with a sample FlippedView in it, as large as it.
std::shared_ptr<NSView> sampleView(double width, double height);

/// Draws the sample view into a PNG file of 480 by 360 pixels; false where it cannot be written.
bool writeSampleView(const std::string& path);

}  // namespace korvane
