// The look of a page, on screens light and dark, wide and narrow, and on paper.
#pragma once

#include <string_view>

namespace tarnwick::admin {

std::string_view PageStyle();

}  // namespace tarnwick::admin
