"""What the ranks of an MPI job say to each other."""

import pickle
import zlib

import numpy as np

from ._error import Error


def _call(what, path):
    return f"{what} of {path}" if path else what


class Talk:
    """What ranks say to each other before any of them does anything: none waits for one that has failed."""

    def __init__(self, comm, mpi, file):
        self.comm, self.mpi, self.file = comm, mpi, file
        self.names = (file,)  # that the library may know the file by
        self.rank, self.size = comm.Get_rank(), comm.Get_size()
        self.left = None  # with what a rank has left the scope that the others are still in

    def failure(self, what, fault):
        """A failure of this rank, as all ranks hear of it."""
        if isinstance(fault, Error):
            who = f"rank {self.rank}: " if self.rank else ""
            return type(fault)(fault.file or self.file, fault.path, fault.operation, who + fault.cause)
        return Error(self.file, "", what, f"rank {self.rank}: {type(fault).__name__}: {fault}")

    def agree(self, call, fault=None, leaves=None):
        """Goes on when every rank makes the same call and none has failed; raises the same on all else.

        leaves: what is left with this call, in words; None for none.
        """
        if self.left is not None:
            raise self.left
        code = zlib.crc32(call.encode("utf-8", "surrogateescape"))
        told = np.array([code, -code, self.size if fault is None else self.rank, leaves is None], np.int64)
        self.comm.Allreduce(self.mpi.IN_PLACE, told, self.mpi.MIN)
        same, failed = told[0] == -told[1], int(told[2])
        if same and failed == self.size:
            return
        if failed < self.size:
            error = self.comm.bcast(self.failure(leaves or call, fault) if self.rank == failed else None, failed)
        else:
            calls = self.comm.allgather(call)
            odd = next(rank for rank, other in enumerate(calls) if other != calls[0])
            cause = f"rank {odd} comes to {calls[odd]} where rank 0 comes to {calls[0]}"
            error = Error(self.file, "", "make a collective call", cause)
        if not same and told[3] == 0:
            self.left = error
        raise error

    def each(self, what, work, path=""):
        """What the work of each rank answers on it, when it fails on none."""
        answer = fault = None
        try:
            answer = work()
        except (TypeError, ValueError, OverflowError) as raised:  # what was given does not fit
            fault = Error(self.file, path, what, str(raised))
        except Exception as raised:
            fault = raised
        try:
            self.agree(_call(what, path), fault)
        except Error as error:
            raise error from fault
        return answer

    def tell(self, what, work):
        """What the work answers on rank 0, where it is done, on all ranks. REQUIRES agree()."""
        told = fault = None
        if self.rank == 0:
            try:
                told = pickle.dumps(work())
            except BaseException as raised:
                fault = raised
        told, error = self.comm.bcast((told, fault and self.failure(what, fault)))
        if fault is not None and not isinstance(fault, Exception):
            raise fault
        if error is not None:
            raise error from fault
        return pickle.loads(told)

    def root(self, what, work, path=""):
        """As tell(), of ranks that agree."""
        self.agree(_call(what, path))
        return self.tell(what, work)

    def check(self, what, path, cause):
        """Raises what the library says on all ranks."""
        if cause:
            for name in self.names:
                cause = cause.removeprefix(name + ": ")
            raise Error(self.file, path, what, cause)
