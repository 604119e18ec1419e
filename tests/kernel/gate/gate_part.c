// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* One fault, chosen when it is compiled. */
#include <linux/module.h>

int gate_part(int value);

#if defined(GATE_CONSTRUCTOR)
static int constructed;

static __attribute__((constructor, used)) void construct(void)
{
	constructed = 1;
}

#elif defined(GATE_UNDEFINED)
int mac_gate_nowhere(int value);

#elif defined(GATE_DISTANCE)
asm(".pushsection .rodata\n"
    "gate_place: .long gate_part - .\n"
    ".popsection\n");
#endif

int gate_part(int value)
{
#if defined(GATE_CONSTRUCTOR)
	return value + constructed;
#elif defined(GATE_UNDEFINED)
	return mac_gate_nowhere(value);
#else
	return value;
#endif
}
