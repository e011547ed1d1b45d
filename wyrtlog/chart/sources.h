// The page's fixed parts, which the build makes of page/ and of the library that draws.
#pragma once

#include <string_view>

extern const std::string_view PageHtml; // with {{names}} for what pageOf puts in
extern const std::string_view PageCss, PageScript;
extern const std::string_view DygraphsCss, DygraphsScript, DygraphsLicence;
