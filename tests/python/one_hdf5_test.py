#!/usr/bin/env python3
"""One HDF5 library in the process, whoever brings it in first."""

import itertools
import os
import subprocess
import sys
import tempfile
import unittest

from model import make

USES = {
    "pdm_core": "import pdm_core; assert pdm_core.open('a.pdm').model.mesh.node_fields['coordinates'][:].sum() == 4",
    "h5py": "import h5py; f = h5py.File('h.h5', 'w'); f['x'] = [1, 2]; f.close(); f = h5py.File('h.h5'); assert f['x'][1] == 2; f.close()",
    "netCDF4": "import netCDF4; d = netCDF4.Dataset('n.nc', 'w'); d.createDimension('x', 3); d.close(); "
    "d = netCDF4.Dataset('n.nc'); assert len(d.dimensions['x']) == 3; d.close()",
    "vtk": "from vtkmodules.vtkIOHDF import vtkHDFReader as R; assert R().CanReadFile('a.pdm') == 0",
}
COUNT = "; print(len({line.split()[-1] for line in open('/proc/self/maps') if 'libhdf5_serial.so' in line or 'libhdf5.so' in line}))"


class OneHdf5(unittest.TestCase):
    def test_in_every_order(self):
        folder = tempfile.mkdtemp(dir=sys.argv[1])
        make(os.path.join(folder, "a.pdm"))
        others = [name for name in USES if name != "pdm_core"]
        orders = [pair for other in others for pair in itertools.permutations(["pdm_core", other])]
        for order in [*orders, tuple(USES), tuple(reversed(USES))]:
            program = "; ".join(USES[name] for name in [*order, *order]) + COUNT
            result = subprocess.run([sys.executable, "-c", program], cwd=folder, capture_output=True, text=True)
            self.assertEqual((result.returncode, result.stdout.strip()), (0, "1"), f"{order}: {result.stderr}")
            self.assertEqual(result.stderr, "", order)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
