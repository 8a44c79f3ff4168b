// What the tool says about itself before it does anything.
#pragma once

#include <iosfwd>

#include <qorv/string.h>

/// "major.minor.build-revision".
Qorv::stringEx GetVersion();

/// An empty line and the banner with the version.
void ShowBanner(std::ostream& out);

/// The usage screen; flushes.
void ShowUsage(std::ostream& out);
