#!/usr/bin/env python3
"""The description tables and the type model against the figures the layer's contract states:
how many hooks, labels, printers and names each API has, the slot numbering, and the Direct3D
and DXGI catalogue (catalogue.txt: each exported function's slot, each interface's run of slots,
the structures with a printer, the enums with theirs and their numbers of names, and labels as
the published declarations spell them). Values and layouts are checked against the published
headers at compile time instead.

Usage: figures_test.py TOOLS_DIR CATALOGUE
"""
import collections
import sys
import unittest

TOOLS, CATALOGUE = sys.argv.pop(1), sys.argv.pop(1)
sys.path.insert(0, TOOLS)
import apitable  # noqa: E402
import comtable  # noqa: E402
import gen_com_object_printers  # noqa: E402
import typemodel  # noqa: E402

VK = typemodel.VulkanModel()
COM = typemodel.ComModel()
VK_SLOTS, COM_SLOTS = typemodel.slots("vulkan"), typemodel.slots("com")
VK_FAMILY, COM_FAMILY = VK.family(VK_SLOTS), COM.family(COM_SLOTS)


def arguments(model, slots):
    return [l for s in slots for l in model.dump(s).lines[:-1 if s.function.returns_value else None]]


class Vulkan(unittest.TestCase):
    def test_hooks_labels_and_results(self):
        names = [s.call_name for s in VK_SLOTS]
        self.assertEqual(len(names), 435)
        self.assertEqual([names.index(n) for n in ("vkCreateInstance", "vkEnumerateInstanceVersion",
                                                   "vkCmdDrawIndirectCount", "vkDestroySurfaceKHR",
                                                   "vkCreateWin32SurfaceKHR")], [0, 137, 165, 178, 422])
        lines = arguments(VK, VK_SLOTS)
        self.assertEqual(len(lines), 925)
        self.assertEqual(len([l for l in lines if l.count is not None]), 6)
        self.assertEqual(collections.Counter(s.function.ret for s in VK_SLOTS), collections.Counter({
            "void": 235, "VkResult": 186, "VkDeviceAddress": 4, "uint64_t": 4, "uint32_t": 2,
            "PFN_vkVoidFunction": 2, "VkDeviceSize": 1, "VkBool32": 1}))

    def test_printers(self):
        self.assertEqual(len(VK_FAMILY.structs), 278)
        self.assertEqual(len(VK_FAMILY.enums), 81)
        self.assertEqual(sum(len(VK.enum_rows(e)) for e in VK_FAMILY.enums), 1660)
        self.assertEqual(len(VK_FAMILY.pointed_enums), 7)
        # Structures with the same field list share their lines; each list counts once.
        lists = {tuple(m.decl for m in VK.reg.records[VK.record_name(s)].members): s
                 for s in sorted(VK_FAMILY.structs)}
        handles = collections.Counter(l.label.split()[0] for s in lists.values()
                                      for l in VK.record_printer(s).lines
                                      if l.printer == "printing::Print_handle")
        self.assertEqual((len(handles), sum(handles.values())), (24, 106))


class Direct3D(unittest.TestCase):
    def test_hooks_and_printers(self):
        self.assertEqual(len(COM.interfaces), 196)
        self.assertEqual(sum(len(i.methods) for i in COM.interfaces), 885)
        self.assertEqual(len(COM_SLOTS), 4538)
        self.assertEqual(len(COM_FAMILY.structs), 256)
        self.assertEqual(len(COM_FAMILY.pointed), 188)
        enums = COM.enum_printers(COM_FAMILY)
        self.assertEqual((len(enums), sum(len(rows) for _, rows in enums)), (139, 1123))
        self.assertEqual(len(COM_FAMILY.pointed_enums), 25)

    def test_id_readers(self):
        by_name = {i.name: i for i in COM.interfaces}
        readers = collections.Counter(gen_com_object_printers.id_reader(i, by_name) for i in COM.interfaces)
        self.assertEqual(readers, collections.Counter({
            "ID3D11DeviceChild": 58, "ID3D11Device": 6, "ID3D12Object": 42, "IDXGIObject": 39, None: 51}))

    def test_catalogue(self):
        rows = collections.defaultdict(list)
        for line in apitable.read_lines(CATALOGUE):
            kind, rest = line.split(None, 1)
            rows[kind].append(rest.strip())
        self.assertEqual([f"{s.number} {s.call_name}" for s in COM_SLOTS if s.api == "com_function"],
                         rows["function"])
        runs = collections.defaultdict(list)
        for s in COM_SLOTS:
            if s.interface:
                runs[s.interface].append(s.number)
        self.assertEqual([f"{r[0]} {len(r)} {name}" for name, r in runs.items()], rows["interface"])
        self.assertEqual(sorted(rows["struct"]), sorted(COM_FAMILY.structs))
        self.assertEqual(sorted(rows["enum"]), sorted(f"{e} {len(r)}" for e, r in COM.enum_printers(COM_FAMILY)))
        labels = {typemodel.label(p.published, p.name, p.array)
                  for f in COM.methods.values() for p in f.params}
        self.assertEqual([l for l in rows["label"] if l not in labels], [])


if __name__ == "__main__":
    unittest.main()
