#include "host/graph/ShortForms.h"

#include <gtest/gtest.h>
