# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""The deepest stack of each way into the modules, from what the compiler says of every
function: its own bytes and whom it calls (-fcallgraph-info=su). The kernel's functions
are not in it."""
import re
import subprocess

INDIRECT = "__indirect_call"
# Who calls through pointers, and what those can be.
POINTERS = {
    r"mng_ioctl": r"drv_mac_ioctl",
    r"mng_open": r"drv_mac_open",
    r"mng_release": r"drv_mac_release",
    r"mng_show": r"mac_diag_show",
    r"mng_store": r"mac_diag_store",
    r"mac_module_init": r"kSteps::.*_FUN",
    r"mac_module_abandon": r"mac_(config|drv|func)_exit",
    r"platform_driver_hold": r"module_driver_hold",
    r"release_record": r"free_with_buffers|mac::free_later<.*>",
    r"drv_mac_ioctl": r"drv_mac_ioctl_\w+",
    r"drv_mac_ioctl_cmd_show": r"drv_mac_show_(cfg|mac_type)",
    r".*with_record<mac_ioctl_buffer,.*run_patch.*": r"drv_mac_patch_func[12]",
    r".*run<.*DataGet>": r"mac_(flash|eeprom|env)_read",
    r".*run<.*DataSet>": r"mac_(flash|eeprom|env)_write",
    r".*run<.*FormGet>": r"mac_\w+_get_format",
    r".*run<.*FormSet>": r"mac_\w+_set_format",
    r"mac_get_flag": r"mac_\w+_get_flag",
    r"mac_get_size": r"mac_\w+_get_size",
    r"mac_entery_xml_read": r"mac_entery_xml_(?!read|func|ioctl|init)\w+",
}
# The ways in: what is on the stack when a command's handler begins, and the others.
COMMAND = ["mng_ioctl", "drv_mac_ioctl"]
ENTRIES = r"drv_mac_(init|deinit|(get|set)_(addr|num|addr_num)|patch_func[12])"
LIFECYCLE = {"load": "mng_load", "unload": "mng_unload", "attribute read": "mng_show"}


def plain_name(text):
    """A function without its arguments, its result and the anonymous namespace."""
    text = text.replace("(anonymous namespace)::", "").replace("{anonymous}::", "")
    text = re.sub(r" \[clone .*\]$", "", text)
    depth = 0
    for i, char in enumerate(text):
        depth += (char in "<{") - (char in ">}")
        if char == "(" and depth == 0 and i:
            text = text[:i]
            break
    return re.sub(r"^(unsigned int|void|u32) ", "", text)


class Graph:
    def __init__(self, folder):
        self.bytes = {}
        self.calls = {}
        files = sorted(folder.rglob("*.ci"))
        if not files:
            raise SystemExit(f"no call graphs in {folder}")
        for path in files:
            text = path.read_text()
            for title, label in re.findall(r'^node: { title: "(.*?)" label: "(.*?)"', text, re.M):
                own = re.search(r"\\n(\d+) bytes \((\w+)", label)
                if own:
                    if own[2] != "static":
                        raise SystemExit(f"{title}: its stack has no fixed size")
                    self.bytes[title] = int(own[1])
            for source, target in re.findall(r'^edge: { sourcename: "(.*?)" targetname: "(.*?)"',
                                             text, re.M):
                self.calls.setdefault(source, set()).add(target)
        self.names = self.readable()
        self.resolve()
        self.depths = {}

    def readable(self):
        titles = list(self.bytes)
        bare = "\n".join(title.rsplit(":", 1)[-1] for title in titles)
        done = subprocess.run(["c++filt"], input=bare, capture_output=True, text=True, check=True)
        return dict(zip(titles, map(plain_name, done.stdout.splitlines())))

    def named(self, pattern):
        return {title for title, name in self.names.items() if re.fullmatch(pattern, name)}

    def resolve(self):
        """Calls through pointers become calls of all that they can reach."""
        for source, targets in self.calls.items():
            if INDIRECT not in targets:
                continue
            name = self.names[source]
            found = [value for key, value in POINTERS.items() if re.fullmatch(key, name)]
            reached = self.named(found[0]) if found else set()
            if not reached:
                raise SystemExit(f"{name} calls through a pointer: say in {__file__} what")
            targets |= reached

    def depth(self, title, path=()):
        """Bytes of the deepest chain from a function on, and its functions."""
        if title in path:
            raise SystemExit("calls itself: " + " > ".join(map(self.names.get, (*path, title))))
        if title not in self.depths:
            below = [self.depth(target, (*path, title)) for target in self.calls.get(title, ())
                     if target in self.bytes]
            deepest, chain = max(below, default=(0, []))
            self.depths[title] = (self.bytes[title] + deepest, [self.names[title], *chain])
        return self.depths[title]

    def deepest(self, pattern, above=()):
        """The deepest of the functions of that name, with those that stand above it."""
        titles = self.named(pattern)
        if not titles:
            raise SystemExit(f"there is no function {pattern}")
        size, chain = max(self.depth(title) for title in titles)
        over = [next(iter(self.named(name))) for name in above]
        return size + sum(self.bytes[title] for title in over), [*above, *chain]


def deepest_stacks(folder):
    """(bytes, functions from the outermost in) of every way into the modules."""
    graph = Graph(folder)
    result = {name: graph.deepest(function) for name, function in LIFECYCLE.items()}
    handlers = graph.named(r"drv_mac_ioctl_\w+")
    for name in sorted(map(graph.names.get, handlers)):
        result["command " + name.removeprefix("drv_mac_ioctl_")] = graph.deepest(name, COMMAND)
    for name in sorted(map(graph.names.get, graph.named(ENTRIES))):
        result[name] = graph.deepest(name)
    return result
