import sys

import numpy as np
import pdm_core as pdm

with pdm.open(sys.argv[1], "r+") as sim:
    fields = sim.model.mesh.node_fields
    x, y = fields["coordinates"][:].T
    fields.create("radius", np.hypot(x, y), unit="m", replace=True)
