// Counts every global allocation of the test binary that links allocation_counter.cpp.
#pragma once

namespace QorScTest {

long AllocationCount();

}  // namespace QorScTest
