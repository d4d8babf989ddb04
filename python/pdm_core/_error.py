"""What a failure is in Python."""

import difflib


class Error(Exception):
    """What every call raises when it fails.

    >>> import pdm_core
    >>> try:
    ...     pdm_core.open("nowhere.pdm")
    ... except pdm_core.Error as fault:
    ...     print(fault.file, "|", fault.operation)
    nowhere.pdm | open a file
    """

    def __init__(self, file: str = "", path: str = "", operation: str = "", cause: str = "") -> None:
        super().__init__(file, path, operation, cause)
        self.file = file  # as it was opened
        self.path = path  # of the object that was used; "" for the file as a whole
        self.operation = operation  # what was to be done
        self.cause = cause  # why it was not done

    def __str__(self) -> str:
        return ": ".join(part for part in self.args if part)


class NameMissing(Error, KeyError):
    """There is no entry of that name. A KeyError as well."""

    __str__ = Error.__str__


class IndexMissing(Error, IndexError):
    """There is nothing of that number. An IndexError as well."""

    __str__ = Error.__str__


class AttributeMissing(Error, AttributeError):
    """The object's class has no such member. An AttributeError as well."""

    __str__ = Error.__str__


def _cause(name: str, names: list[str]) -> str:
    near = difflib.get_close_matches(name, names, 1, 0.5)
    if near:
        return f'there is no "{name}"; do you mean "{near[0]}"?'
    if not names:
        return f'there is no "{name}", it is empty'
    listed = ", ".join(f'"{name}"' for name in names[:8])
    more = f" and {len(names) - 8} more" if len(names) > 8 else ""
    return f'there is no "{name}": there are {listed}{more}'


def missing_name(file: str, path: str, operation: str, name: str, names: list[str]) -> NameMissing:
    """The exception for a name that a map has not, with the nearest that it has."""
    return NameMissing(file, path, operation, _cause(name, names))


def missing_attribute(file: str, path: str, name: str, names: list[str]) -> AttributeMissing:
    """The exception for a member that a class has not."""
    return AttributeMissing(file, path, "read a member", _cause(name, names))
