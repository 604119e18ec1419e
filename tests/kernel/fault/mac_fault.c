// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/*
 * Makes the N-th call of a kernel function by one module fail: the function is not
 * entered and its caller gets the given value. Works on stock kernels, which have
 * no fault injection of their own.
 *
 *   insmod mac_fault.ko symbol=misc_register target=mac_mng value=-16
 *   echo 1 > /sys/module/mac_fault/parameters/nth
 *
 * The guest has one processor, which is why one set of registers is enough below.
 *
 * "calls" counts the calls of the target since it was last written.
 */
#include <linux/kprobes.h>
#include <linux/module.h>
#include <linux/string.h>
#include <linux/version.h>

static char *symbol = "";
module_param(symbol, charp, 0444);
MODULE_PARM_DESC(symbol, "function that fails");

static char *target_name = "";
module_param_named(target, target_name, charp, 0444);
MODULE_PARM_DESC(target, "module whose calls count");

static long value;
module_param(value, long, 0444);
MODULE_PARM_DESC(value, "what the failing call returns");

static unsigned int nth;
module_param(nth, uint, 0644);
MODULE_PARM_DESC(nth, "the call that fails; 0 for none");

static unsigned int calls;
module_param(calls, uint, 0644);
MODULE_PARM_DESC(calls, "calls so far");

static struct module *target;

#ifdef CONFIG_X86
static noinline void nothing(void)
{
	barrier();
}

static unsigned long caller_of(struct pt_regs *regs)
{
	return *(unsigned long *)kernel_stack_pointer(regs);
}

/* Whether the function is left at once. */
static int leave(struct pt_regs *regs)
{
	regs_set_return_value(regs, value);
	instruction_pointer_set(regs, (unsigned long)&nothing);
	return 1;
}

static void after_leaving(struct pt_regs *regs)
{
}
#else
/* The registers by their numbers: the functions that name them are from 4.10 and 5.4. */
#define RETURN_VALUE 0
#define SCRATCH 16
#define LINK 30

static unsigned long caller_of(struct pt_regs *regs)
{
	return regs->regs[LINK];
}

#if LINUX_VERSION_CODE >= KERNEL_VERSION(4, 19, 0)
static int leave(struct pt_regs *regs)
{
	regs->regs[RETURN_VALUE] = value;
	instruction_pointer_set(regs, regs->regs[LINK]);
	return 1;
}

static void after_leaving(struct pt_regs *regs)
{
}
#else
/*
 * Before 4.19 a handler cannot end the probe: the function's first instruction runs, and
 * what it did to the registers is undone then. The stack pointer is not taken from there,
 * so two instructions put it back and return.
 */
extern const char return_with_stack[];
asm(".pushsection .text\n"
    "return_with_stack:\n"
    "	mov	sp, x16\n"
    "	ret\n"
    ".popsection\n");

static bool leaving;
static struct pt_regs entered;

static int leave(struct pt_regs *regs)
{
	leaving = true;
	entered = *regs;
	return 0;
}

static void after_leaving(struct pt_regs *regs)
{
	if (!leaving)
		return;
	leaving = false;
	memcpy(regs->regs, entered.regs, sizeof(regs->regs));
	regs->regs[RETURN_VALUE] = value;
	regs->regs[SCRATCH] = entered.sp;
	instruction_pointer_set(regs, (unsigned long)return_with_stack);
}
#endif
#endif

static int before(struct kprobe *probe, struct pt_regs *regs)
{
	struct module *module = READ_ONCE(target);

	if (!module || !within_module(caller_of(regs), module))
		return 0;
	return ++calls == nth ? leave(regs) : 0;
}

/* Its presence also keeps the probe from being optimised into one that cannot do this. */
static void after(struct kprobe *probe, struct pt_regs *regs, unsigned long flags)
{
	after_leaving(regs);
}

static struct kprobe probe = { .pre_handler = before, .post_handler = after };

static int module_changed(struct notifier_block *block, unsigned long state, void *data)
{
	struct module *module = data;

	if (strcmp(module->name, target_name) == 0)
		WRITE_ONCE(target, state == MODULE_STATE_GOING ? NULL : module);
	return NOTIFY_OK;
}

/* After everybody else, so that the services still see the target when it goes. */
static struct notifier_block notifier = { .notifier_call = module_changed, .priority = -1 };

static int __init fault_load(void)
{
	int result = register_module_notifier(&notifier);

	if (result)
		return result;
	probe.symbol_name = symbol;
	result = register_kprobe(&probe);
	if (result)
		unregister_module_notifier(&notifier);
	return result;
}

static void __exit fault_unload(void)
{
	unregister_kprobe(&probe);
	unregister_module_notifier(&notifier);
}

module_init(fault_load);
module_exit(fault_unload);

MODULE_DESCRIPTION("Makes calls of another module fail");
MODULE_LICENSE("GPL");
