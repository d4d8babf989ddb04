# Three tasks with an Exodus II file: coordinates, a side set by name, a result at a time.
import sys

import netCDF4
import numpy

mesh = netCDF4.Dataset(sys.argv[1], "a")

# [coordinates]
x, y = mesh["coordx"][:], mesh["coordy"][:]
print(f"{len(x)} nodes, x from {x.min():g} to {x.max():g}")
# [coordinates]

# [side set]
names = list(netCDF4.chartostring(mesh["ss_names"][:]))
number = names.index("Inner.Wall") + 1
elements = mesh[f"elem_ss{number}"][:] - 1
sides = mesh[f"side_ss{number}"][:] - 1
print(f"{len(elements)} sides, the first is side {sides[0]} "
      f"of element {elements[0]}")
# [side set]

# [result]
mesh.createDimension("num_nod_var", 1)
mesh.createVariable("name_nod_var", "S1", ("num_nod_var", "len_string"))
width = len(mesh.dimensions["len_string"])
name = numpy.array(["heat"], f"S{width}")
mesh["name_nod_var"][0] = netCDF4.stringtochar(name)[0]
mesh.createVariable("vals_nod_var1", "f8", ("time_step", "num_nodes"))
mesh["time_whole"][0] = 0.5
mesh["vals_nod_var1"][0] = 20 + 10 * x
mesh.close()
# [result]
