"""Stands in for pyvista, which Debian has not: keeps what a grid is made of."""


class UnstructuredGrid:
    def __init__(self, cells, types, points):
        self.cells, self.types, self.points = cells, types, points
        self.point_data, self.cell_data = {}, {}
