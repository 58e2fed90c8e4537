#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "tools/eval_report.h"

namespace quel::tools {

/// Writes a report as one HTML page that needs nothing beside itself: a table of the figures and,
/// for the source at each sampling rate and for every result, a player, the waveform and the
/// spectrogram of the excerpt. It has no script and forbids the browser every request.
///
/// report  with an excerpt of more than 0 s
/// write   gets the page piece by piece
void write_page(const EvalReport& report, const std::function<void(std::string_view)>& write);

}  // namespace quel::tools
