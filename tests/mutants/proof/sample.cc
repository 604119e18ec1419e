// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// What prove.py plants faults in: one function for each thing that can become of a fault.
void ends_the_process();

static constexpr int kTable[] = {7};
static_assert(sizeof(kTable) == sizeof(int));

int asserted(int value) { return -value; }

int reached(int value) { return -value; }

int never_reached(int value) { return -value; }

int first_of(const int* values, bool there) {
    if (!there) return 3;
    return values[0];
}

int checked(int value) {
    if (value != 5) ends_the_process();
    return 5;
}

int ending(int value) {
    for (int left = value; left != 0; --left) value += 0;
    return 5;
}

int of_table() { return kTable[0]; }
