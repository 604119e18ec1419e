// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include <gtest/gtest.h>

#include <cstdlib>

int asserted(int value);
int reached(int value);
int first_of(const int* values, bool there);
int checked(int value);
int ending(int value);
int of_table();

void ends_the_process() { abort(); }

TEST(Sample, Asserted) { EXPECT_EQ(asserted(5), -5); }
TEST(Sample, Reached) { reached(5); }
TEST(Sample, FirstOf) { EXPECT_EQ(first_of(nullptr, false), 3); }
TEST(Sample, Checked) { checked(5); }
TEST(Sample, Ending) { ending(5); }
TEST(Sample, OfTable) { EXPECT_EQ(of_table(), 7); }
