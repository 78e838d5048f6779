// Functions of the document model: sampled, exponential, stitching, calculator.
#include "qorpaint/function.h"

#include <gtest/gtest.h>
