"""Writes Exodus II files by netCDF4 alone, for the tests."""

import netCDF4
import numpy as np


def _text(nc, name, dims, rows, width):
    # Names may fill the whole row: no terminator is added.
    table = np.zeros((len(rows), width), "S1")
    for i, row in enumerate(rows):
        raw = row.encode() if isinstance(row, str) else row
        assert len(raw) <= width
        table[i, : len(raw)] = [bytes([b]) for b in raw]
    var = nc.createVariable(name, "S1", dims)
    if len(rows):
        var[:] = table


def write(path, format="NETCDF4", ints="i4", reals="f8", width=33, zlib=False, old_forms=False, **mesh):
    """mesh: nodes [n, dim]; blocks [{id, name, type, conn [m, k] 1-based,
    attributes [m, a], corners [m] of polygons, conn is flat then}]; node_sets, elem_sets
    [{id, name, members, factors}]; side_sets [{..., sides}]; node_labels, elem_labels; times; node_vars
    {name: [steps, n]}; elem_vars, nset_vars, sset_vars {name: {entity: [steps, m]}}; glob_vars
    {name: [steps]}; node_maps {name: [n]}."""
    nc = netCDF4.Dataset(path, "w", format=format)
    pack = {"zlib": True} if zlib else {}
    nodes = np.asarray(mesh["nodes"], float)
    blocks = mesh.get("blocks", [])
    count = sum(len(b.get("corners", b["conn"])) for b in blocks)
    nc.setncatts({"api_version": np.float32(8.11), "version": np.float32(8.11),
                  "floating_point_word_size": np.int32(8), "file_size": np.int32(1), "title": "made by the tests"})

    def dim(name, size):  # the format leaves out what would be of size 0
        if size:
            nc.createDimension(name, size)

    def ids(prefix, dimension, entities):
        nc.createVariable(prefix + "_prop1", ints, (dimension,))[:] = [e["id"] for e in entities]
        nc.createVariable(prefix + "_status", "i4", (dimension,))[:] = [
            int(len(e.get("conn", e.get("members", ()))) > 0) for e in entities]
        if any(e.get("name") for e in entities):
            _text(nc, prefix + "_names", (dimension, "len_name"), [e.get("name", "") for e in entities], width)

    def named(key, total, names):
        """The mesh's things of one kind, whose number and names are written when there are any."""
        things = mesh.get(key, {})
        if things:
            dim(total, len(things))
            _text(nc, names, (total, "len_name"), list(things), width)
        return things

    nc.createDimension("len_string", 33)
    nc.createDimension("len_name", width)
    nc.createDimension("time_step", None)
    dim("num_dim", nodes.shape[1])
    dim("num_nodes", len(nodes))
    dim("num_elem", count)
    times = mesh.get("times", [])
    nc.createVariable("time_whole", reals, ("time_step",))[:] = times
    if len(nodes) and old_forms:
        nc.createVariable("coord", reals, ("num_dim", "num_nodes"))[:] = nodes.T
    elif len(nodes):
        for axis in range(nodes.shape[1]):
            nc.createVariable("coord" + "xyz"[axis], reals, ("num_nodes",), **pack)[:] = nodes[:, axis]
    if blocks:
        dim("num_el_blk", len(blocks))
        ids("eb", "num_el_blk", blocks)
    for k, block in enumerate(blocks, 1):
        conn = np.asarray(block["conn"])
        if len(conn):
            corners = block.get("corners")
            dim(f"num_el_in_blk{k}", len(corners or conn))
            dim(f"num_nod_per_el{k}", conn.shape[-1])
            dims = (f"num_el_in_blk{k}", f"num_nod_per_el{k}")
            if corners:
                nc.createVariable(f"ebepecnt{k}", "i4", dims[:1])[:] = corners
            if "attributes" in block:
                nc.createDimension(f"num_att_in_blk{k}", block["attributes"].shape[1])
                nc.createVariable(f"attrib{k}", reals, (dims[0], f"num_att_in_blk{k}"))[:] = block["attributes"]
            if "attribute_names" in block:
                _text(nc, f"attrib_name{k}", (f"num_att_in_blk{k}", "len_name"), block["attribute_names"], width)
            var = nc.createVariable(f"connect{k}", ints, dims[1:] if corners else dims, **pack)
            var[:] = conn
            var.elem_type = block["type"]
    for labels, size in (("node", "num_nodes"), ("elem", "num_elem")):
        if labels + "_labels" in mesh:
            nc.createVariable(labels + "_num_map", ints, (size,), **pack)[:] = mesh[labels + "_labels"]
    for k, values in enumerate(named("node_maps", "num_node_maps", "nmap_names").values(), 1):
        nc.createVariable(f"node_map{k}", ints, ("num_nodes",))[:] = values
    for key, total, prefix, entries, size, factors in (
            ("node_sets", "num_node_sets", "ns", "node_ns", "num_nod_ns", "dist_fact_ns"),
            ("elem_sets", "num_elem_sets", "els", "elem_els", "num_ele_els", "dist_fact_els"),
            ("side_sets", "num_side_sets", "ss", "elem_ss", "num_side_ss", "dist_fact_ss")):
        sets = mesh.get(key, [])
        if not sets:
            continue
        dim(total, len(sets))
        ids(prefix, total, sets)
        for k, one in enumerate(sets, 1):
            if not len(one["members"]):
                continue
            dim(f"{size}{k}", len(one["members"]))
            nc.createVariable(f"{entries}{k}", ints, (f"{size}{k}",))[:] = one["members"]
            if "sides" in one:
                nc.createVariable(f"side_ss{k}", ints, (f"{size}{k}",))[:] = one["sides"]
            if "factors" in one:
                nc.createDimension(f"num_df_{prefix}{k}", len(one["factors"]))
                nc.createVariable(f"{factors}{k}", reals, (f"num_df_{prefix}{k}",))[:] = one["factors"]
    variables = named("glob_vars", "num_glo_var", "name_glo_var")
    if variables:
        values = nc.createVariable("vals_glo_var", reals, ("time_step", "num_glo_var"))
        values[: len(times)] = np.array(list(variables.values())).T
    variables = named("node_vars", "num_nod_var", "name_nod_var")
    if variables and old_forms:
        every = nc.createVariable("vals_nod_var", reals, ("time_step", "num_nod_var", "num_nodes"))
    for k, values in enumerate(variables.values(), 1):
        if old_forms:
            every[: len(times), k - 1] = values
        else:
            nc.createVariable(f"vals_nod_var{k}", reals, ("time_step", "num_nodes"), **pack)[: len(times)] = values
    for key, total, names, table, where, entity, size in (
            ("elem_vars", "num_elem_var", "name_elem_var", "elem_var_tab", "num_el_blk", "eb", "num_el_in_blk"),
            ("nset_vars", "num_nset_var", "name_nset_var", "nset_var_tab", "num_node_sets", "ns", "num_nod_ns"),
            ("sset_vars", "num_sset_var", "name_sset_var", "sset_var_tab", "num_side_sets", "ss", "num_side_ss")):
        variables = named(key, total, names)
        if not variables:
            continue
        truth = np.zeros((len(nc.dimensions[where]), len(variables)), "i4")
        for k, entities in enumerate(variables.values()):
            for e, values in entities.items():
                truth[e, k] = 1
                nc.createVariable(f"vals_{total[4:]}{k + 1}{entity}{e + 1}", reals,
                                  ("time_step", f"{size}{e + 1}"))[: len(times)] = values
        nc.createVariable(table, "i4", (where, total))[:] = truth
    nc.close()
    return str(path)


LONG = "Länge " + "x" * 193  # 200 bytes as UTF-8


def everything(seed=1):
    """A small mesh that has all there is, for write(path, width=200, **everything())."""
    r = np.random.default_rng(seed)
    n, steps = 40, 3
    blocks = [
        {"id": 10, "name": "fluid/inner part", "type": "HEX8", "conn": r.integers(1, n + 1, (5, 8))},
        {"id": 7, "name": "", "type": "TETRA", "conn": r.integers(1, n + 1, (4, 4)),
         "attributes": r.random((4, 2))},
        {"id": 99, "name": "void", "type": "HEX8", "conn": []},
        {"id": 3, "name": LONG, "type": "WEDGE15", "conn": r.integers(1, n + 1, (3, 15))}]
    names = ["plain", LONG, "mit Ümlaut/and slash", ""]
    node_sets = [{"id": 100 + i, "name": name, "members": r.permutation(n)[: 6 + i] + 1,
                  "factors": r.random(6 + i)} for i, name in enumerate(names)]
    node_sets.append({"id": 200, "name": "nobody", "members": []})
    return dict(
        nodes=r.random((n, 3)), blocks=blocks, node_sets=node_sets, times=[0.0, 0.5, 2.25],
        elem_sets=[{"id": 5, "name": "picked", "members": [12, 1, 7]}],
        side_sets=[{"id": 1, "name": "wall", "members": [1, 1, 6, 2, 1, 12], "sides": [6, 2, 4, 1, 3, 5],
                    "factors": r.random(24)},
                   {"id": 2, "name": "", "members": [3], "sides": [1]}],
        node_labels=r.permutation(n) * 10 + 5, elem_labels=r.permutation(12) + 1000,
        node_vars={"temperature": r.random((steps, n)), "coordinates": r.random((steps, n)),
                   LONG: r.random((steps, n))},
        elem_vars={"stress": {0: r.random((steps, 5)), 3: r.random((steps, 3))},
                   "all": {0: r.random((steps, 5)), 1: r.random((steps, 4)), 3: r.random((steps, 3))}},
        nset_vars={"reaction": {1: r.random((steps, 7))}},
        sset_vars={"flux": {0: r.random((steps, 6)), 1: r.random((steps, 1))}},
        glob_vars={"energy": r.random(steps), "time": r.random(steps)},
        node_maps={"origin": r.integers(0, 1000, n)})
