#!/usr/bin/env python3
"""Which Direct3D and DXGI interfaces read a capture id, and through which base: the groups of
the object printers against the API's published inheritance."""
import importlib
import os
import sys
import unittest
from collections import Counter

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), os.pardir, os.pardir, "tools"))
import comtable  # noqa: E402

gen = importlib.import_module("gen_com_object_printers")
INTERFACES = comtable.interfaces()
BY_NAME = {i.name: i for i in INTERFACES}
READER = {i.name: gen.id_reader(i, BY_NAME) for i in INTERFACES}


class IdReaders(unittest.TestCase):
    def test_group_sizes(self):
        self.assertEqual(Counter(READER.values()), Counter({
            "ID3D11DeviceChild": 58, "ID3D11Device": 6, "ID3D12Object": 42, "IDXGIObject": 39, None: 51}))

    def test_landmarks(self):
        cases = {
            "ID3D11DeviceContext4": "ID3D11DeviceChild", "ID3D11Device5": "ID3D11Device",
            "ID3D12GraphicsCommandList6": "ID3D12Object", "ID3D12Device8": "ID3D12Object",
            "IDXGIFactory7": "IDXGIObject", "IDXGISwapChain4": "IDXGIObject",
            # The Direct3D 10 family has GetPrivateData but prints no id.
            "ID3D10Device1": None, "ID3D10Buffer": None,
            # No GetPrivateData anywhere in their chains.
            "IUnknown": None, "ID3D11VideoDevice2": None, "ID3D11On12Device2": None,
            "IDXGIDecodeSwapChain": None, "ID3DUserDefinedAnnotation": None,
        }
        for name, reader in cases.items():
            self.assertEqual(READER[name], reader, name)


if __name__ == "__main__":
    unittest.main()
