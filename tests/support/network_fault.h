#pragma once

namespace ncc {

// What the network between an engine and its storage does. What is lost on the way there does not
// arrive later.
enum class Network { kWorks, kIsDown, kLosesAnswers, kLosesRequests };

}  // namespace ncc
