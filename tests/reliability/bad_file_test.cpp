// Files that are broken in every way that is known, and what becomes of each.
#include <gtest/gtest.h>
