// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/*
 * Makes the N-th call of a kernel function by one module fail: the function is not
 * entered and its caller gets the given value. Works on stock kernels, which have
 * no fault injection of their own.
 *
 *   insmod mac_fault.ko symbol=misc_register target=mac_mng value=-16
 *   echo 1 > /sys/module/mac_fault/parameters/nth
 *
 * "calls" counts the calls of the target since it was last written.
 */
#include <linux/kprobes.h>
#include <linux/module.h>
#include <linux/string.h>

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

static void return_at_once(struct pt_regs *regs)
{
	instruction_pointer_set(regs, (unsigned long)&nothing);
}
#else
static unsigned long caller_of(struct pt_regs *regs)
{
	return procedure_link_pointer(regs);
}

static void return_at_once(struct pt_regs *regs)
{
	instruction_pointer_set(regs, procedure_link_pointer(regs));
}
#endif

static int before(struct kprobe *probe, struct pt_regs *regs)
{
	struct module *module = READ_ONCE(target);

	if (!module || !within_module(caller_of(regs), module))
		return 0;
	if (++calls != nth)
		return 0;
	regs_set_return_value(regs, value);
	return_at_once(regs);
	return 1;
}

/* Its presence keeps the probe from being optimised into one that cannot do this. */
static void after(struct kprobe *probe, struct pt_regs *regs, unsigned long flags)
{
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
