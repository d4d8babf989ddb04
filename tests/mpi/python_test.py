#!/usr/bin/env python3
"""Ranks of a job in Python: rows of all ranks in one file, and one outcome for all whatever one of them does."""

import os
import pathlib
import sys
import tempfile
import threading
import traceback

import h5py
import numpy as np
import pdm_core as pdm
from mpi4py import MPI

COMM = MPI.COMM_WORLD
RANK, SIZE = COMM.rank, COMM.size
ODD = SIZE - 1  # the rank that does what the others do not
NODES, ELEMENTS = 20011, 3001
MINE = np.arange(NODES * RANK // SIZE, NODES * (RANK + 1) // SIZE)  # a piece
DEALT = np.arange(RANK, NODES, SIZE)[::-1]
PLACES = np.arange(3.0 * NODES).reshape(-1, 3).astype("f4")
HEAT = [np.arange(NODES) * 0.5 + step for step in range(3)]
NODES_OF = np.arange(4 * ELEMENTS, dtype="i4").reshape(-1, 4) % NODES


def failure(call, kind=pdm.Error):
    """What the call raises: of one text on every rank, but on those where it is no pdm.Error."""
    try:
        call()
    except Exception as raised:
        fault = raised
    else:
        fault = AssertionError("nothing was raised")
    texts = COMM.allgather(str(fault) if isinstance(fault, pdm.Error) else None)
    told = {text for text in texts if text is not None}
    assert isinstance(fault, kind) and len(told) <= 1, (fault, texts)
    return told.pop() if told else ""


def make(name):
    """A mesh that rank 0 makes, and numbers of all ranks: in a piece of each, in lists, and of one rank alone."""
    sim = pdm.create(name, replace=True, comm=COMM)
    with sim.update():
        if sim.rank == 0:
            mesh = sim.create_mesh(NODES, ELEMENTS)
            mesh.times = [0, 1, 2]
            mesh.create_block("plate", "QUAD4", 0 * NODES_OF)
        places = sim.share(lambda sim: sim.model.mesh.node_fields.create("coordinates", unit="m"))
        places.append_rows(PLACES[MINE], MINE[0], long_name="x, y, z")
        heat = sim.share(lambda sim: sim.model.mesh.node_fields.create("heat", unit="W"))
        heat.append_rows(HEAT[0][DEALT], rows=DEALT)
        heat.append_rows(HEAT[1] if RANK == ODD else [], 0)
        heat.append_rows(HEAT[2][MINE] if RANK else HEAT[2][MINE].tolist(), MINE[0], deflate=1, chunk_rows=999)
        block = sim.share(lambda sim: sim.model.mesh.blocks[0].connectivity)
        mine = range(ELEMENTS * RANK // SIZE, ELEMENTS * (RANK + 1) // SIZE)
        block.write_rows(NODES_OF[mine].astype("i8"), rows=mine)
    return sim, places, heat


def expect(name, heat=HEAT):
    """One process, and h5py, find what was committed."""
    if RANK == 0:
        with pdm.open(name) as sim, h5py.File(name) as judge:
            fields, blocks = sim.model.mesh.node_fields, sim.model.mesh.blocks
            drawers = [fields["coordinates"][0], blocks[0].connectivity, *fields["heat"]]
            assert len(drawers) == 2 + len(heat)
            for drawer, values in zip(drawers, [PLACES, NODES_OF, *heat]):
                assert drawer.dtype == values.dtype and np.array_equal(drawer[:], values)
                assert np.array_equal(judge[drawer.dataset_path][()].reshape(values.shape), values)
            assert (fields["coordinates"].unit, fields["coordinates"].long_name) == ("m", "x, y, z")
    COMM.Barrier()


def test_rows_come_and_go(name):
    sim, places, heat = make(name)
    assert (sim.rank, sim.size, sim.funnelled, sim.file, sim.is_open) == (RANK, SIZE, "", name, True)
    assert sim.on_root(lambda sim: (sim.writable, len(sim.model.mesh.times))) == (True, 3)
    for rows in (MINE, MINE[::2], DEALT, np.repeat(DEALT, 2), [], [NODES - 1, 0]):
        assert np.array_equal(places.read_rows(rows=rows), PLACES[rows] if len(rows) else PLACES[:0])
        for drawer, values in ((heat[0], HEAT[0]), (heat.at(1.0), HEAT[1]), (heat.step(-1), HEAT[2])):
            assert np.array_equal(drawer.read_rows(rows=rows), values[rows] if len(rows) else [])
    first, count = (0, 0) if RANK == ODD else (17 * RANK, 9000)  # one rank wants nothing
    assert np.array_equal(heat[1].read_rows(first, count), HEAT[1][first : first + count])
    assert (heat[0].rows, heat[0].components, heat[0].dtype, places[0].components) == (NODES, 1, float, 3)
    drawer, update = heat[0], sim.update()
    sim.close()
    sim.close()
    for call in (
            lambda: heat[0], lambda: heat.step(0), lambda: heat.at(1.0), lambda: heat.append_rows([], 0),
            drawer.read_rows, lambda: drawer.write_rows([]), lambda: places.read_rows(0, 1), update.__enter__,
            sim.refresh, lambda: sim.on_root(len), lambda: sim.field("node_fields", "heat"), lambda: sim.share(len)):
        assert "the file is closed" in failure(call)
    assert not sim.is_open
    expect(name)
    with pdm.open(name, comm=COMM) as sim:
        assert np.array_equal(sim.field("node_fields", "heat")[2].read_rows(MINE[0], 5), HEAT[2][MINE[:5]])
        assert "open for reading only" in failure(lambda: sim.update().__enter__())


def test_all_hear_of_what_does_not_fit(name):
    sim, places, heat = make(name)
    who, odd = f"rank {ODD}: " if ODD else "", RANK == ODD
    for expected, call in {
        f"heat[0]: read rows: {who}the drawer has {NODES} rows": lambda: heat[0].read_rows(NODES - odd, 2 * odd),
        f"read rows: {who}expected the numbers of items, found a mask":
            lambda: heat[0].read_rows(rows=[odd] if odd else [1]),
        f"{who}expected numbers that fit into float32, found float64":
            lambda: places.write_rows(PLACES[MINE] + (1e-9 if odd else 0) * np.ones(3), MINE[0]),
        f"{who}expected rows of 3, found rows of 2": lambda: places.write_rows(PLACES[MINE][:, odd:], MINE[0]),
        f"{who}say which rows these are": lambda: heat[0].write_rows(HEAT[0][MINE], None if odd else MINE[0]),
        f"{who}expected 1 rows, found ": lambda: heat[0].write_rows(HEAT[0][MINE], rows=[0] if odd else MINE),
        "is given by": lambda: heat[0].write_rows(HEAT[0][:1], 0),
        "the field has 3 drawers": lambda: heat.read_rows(0, 1),
        'do you mean "heat"?': lambda: sim.field("node_fields", "haet"),
        "no drawer 3": lambda: heat[3],
        "expected a Field or a Drawer, found Mesh": lambda: sim.share(lambda sim: sim.model.mesh),
        "rank 0: ZeroDivisionError": lambda: sim.on_root(lambda sim: 1 / 0),
        "not open for live reading": sim.refresh,
    }.items():
        assert expected in (text := failure(call)), text
    if SIZE > 1:
        text = failure(lambda: heat[0].read_rows(0, 1) if odd else heat[1].read_rows(0, 1))
        assert f"rank {ODD} comes to drawer [0]" in text, text
        text = failure(lambda: sim.share(lambda sim: sim.model.mesh.node_fields.create("q")).append_rows(
            np.zeros((len(MINE), 2) if odd else len(MINE), int), MINE[0]))
        assert f"rank {ODD} has rows of 2 int64 where rank 0 has rows of 1 int64" in text, text
        if RANK:
            assert "has no objects" in str(failure_here(lambda: sim.model))
    assert np.array_equal(heat[0].read_rows(MINE[0], len(MINE)), HEAT[0][MINE])
    sim.close()
    expect(name)


def failure_here(call):
    try:
        call()
    except pdm.Error as fault:
        return fault


def test_one_rank_ends_the_update_of_all(name):
    sim, places, heat = make(name)
    told = f"commit an update: rank {ODD}: KeyError: 'mine'"

    def leave(at):
        """One rank leaves at a call that the others go on to."""
        with sim.update():
            for step in range(3):
                if RANK == ODD and step == at:
                    raise KeyError("mine")
                heat[step].write_rows(-HEAT[step][MINE], MINE[0])
            heat.append_rows(HEAT[0][MINE], MINE[0])
            if RANK == ODD and at == 3:
                raise KeyError("mine")

    def leave_within():
        with sim.update():
            heat[0].write_rows(-HEAT[0][MINE], MINE[0])
            try:
                leave(1)
            except (pdm.Error, KeyError):
                pass
            heat[1].write_rows(-HEAT[1][MINE], MINE[0])

    def go_on():
        with sim.update():
            if RANK == ODD:
                raise KeyError("mine")
            for _ in range(2):  # who hears of it and goes on hears of it again
                assert told in str(failure_here(lambda: heat[0].read_rows(0, 1)))

    for at in range(4):
        assert SIZE == 1 or told in failure(lambda: leave(at), (pdm.Error, KeyError))
        for step in range(3):
            assert np.array_equal(heat[step].read_rows(rows=DEALT), HEAT[step][DEALT])
    assert "the update was rolled back inside" in failure(leave_within)
    text = failure(go_on, (pdm.Error, KeyError) if RANK == ODD else pdm.Error) if SIZE > 1 else told
    assert told in text, text
    if RANK == 0:  # another thread of rank 0
        begun, end = threading.Event(), threading.Event()
        other = threading.Thread(target=lambda: hold(sim, begun, end))
        other.start()
        begun.wait()
    assert "an update of another thread is open" in failure(lambda: heat[0].write_rows(HEAT[0][MINE], MINE[0]))
    if RANK == 0:
        end.set()
        other.join()
    with sim.update():
        heat[0].write_rows(-HEAT[0][MINE], MINE[0])

    def leave_file():
        with sim:
            if RANK == ODD:
                raise KeyError("mine")
            heat[0].read_rows(0, 1)

    assert SIZE == 1 or f"rank {ODD}: KeyError" in failure(leave_file, (pdm.Error, KeyError))
    sim.close()
    expect(name, [-HEAT[0], *HEAT[1:]])


def hold(sim, begun, end):
    with sim._sim.update():
        begun.set()
        end.wait()


def test_a_live_reader_moves_on(name):
    sim, places, heat = make(name)
    with pdm.open(name, live=True, comm=COMM) as live:
        seen = live.field("node_fields", "heat")
        for version in range(2, 5):
            heat[0].write_rows(version * HEAT[0][DEALT], rows=DEALT)
            assert np.array_equal(seen[0].read_rows(MINE[0], len(MINE)), (version - 1) * HEAT[0][MINE])
            live.refresh()
            assert np.array_equal(seen[0].read_rows(MINE[0], len(MINE)), version * HEAT[0][MINE])
    del sim  # who does not close ends all the same


def test_the_page_runs(name):
    sim = make(name)[0]
    sim.close()
    page = pathlib.Path(__file__).resolve().parents[2] / "docs" / "python.md"
    lines = page.read_text().split("## Ranks of an MPI job")[1].split("```py\n")[1].split("```")[0]
    exec(compile(lines.replace("plate.pdm", name), page, "exec"), {})
    expect(name, [*HEAT, 2 * HEAT[2]])


def test_what_is_missing_is_said(name):
    assert "No such file" in failure(lambda: pdm.open(name + "x", comm=COMM))
    assert "expected a communicator of mpi4py, found int" in failure(lambda: pdm.open(name, comm=3))
    folder, module = pdm.__path__, sys.modules["pdm_core._pdm_core_mpi"]
    if RANK == ODD:  # a package without it
        pdm.__path__ = []
        del sys.modules["pdm_core._pdm_core_mpi"], pdm._pdm_core_mpi
    assert "this pdm_core was built without MPI" in failure(lambda: pdm.create(name, comm=COMM))
    pdm.__path__, sys.modules["pdm_core._pdm_core_mpi"] = folder, module
    mpi4py, sys.modules["mpi4py"] = sys.modules["mpi4py"], None
    assert "mpi4py is not installed" in failure(lambda: pdm.create(name, comm=COMM))
    sys.modules["mpi4py"] = mpi4py
    assert not os.path.exists(name)


def main():
    with tempfile.TemporaryDirectory(dir="/dev/shm") as own:
        os.chdir(own if RANK == 0 else "/")  # names are rank 0's
        for name, test in list(globals().items()):
            if name.startswith("test_"):
                try:
                    test(name + ".pdm")
                except BaseException:  # the others may wait for this rank
                    print(f"rank {RANK}: {name} failed\n{traceback.format_exc()}", file=sys.stderr, flush=True)
                    COMM.Abort(1)
                COMM.Barrier()


main()
