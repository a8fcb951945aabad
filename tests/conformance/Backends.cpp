// Every scenario of the suite runs once per backend.
#include "conformance/Conformance.h"

namespace conformance {

INSTANTIATE_TEST_SUITE_P(Backends, Conformance, ::testing::ValuesIn(BackendNames()),
                         [](const auto& info) { return info.param; });

} // namespace conformance
