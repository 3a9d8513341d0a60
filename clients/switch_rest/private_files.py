"""Small files that only their owner may read: session keys and pinned certificates."""

import contextlib
import fcntl
import os
import stat
from collections.abc import Iterator
from pathlib import Path


def user_folder(variable: str, otherwise: str) -> Path:
    """This library's folder under one of the user's base folders, e.g. XDG_CACHE_HOME."""
    base = os.environ.get(variable, "")
    # A relative path there is invalid and to be ignored.
    return (Path(base) if os.path.isabs(base) else Path.home() / otherwise) / "switch_rest"


def read_private(path: Path) -> str | None:
    """The file's text; None when there is none, or when others could have written or read it."""
    try:
        with open(os.open(path, os.O_RDONLY | os.O_NOFOLLOW | os.O_CLOEXEC), encoding="utf-8") as f:
            status = os.fstat(f.fileno())
            if status.st_uid != os.geteuid() or stat.S_IMODE(status.st_mode) & 0o077:
                return None
            return f.read()
    except (OSError, UnicodeDecodeError):
        return None


def write_private(path: Path, text: str) -> None:
    """Replaces the file as a whole; readers see the old text or the new one."""
    new = path.with_name(f"{path.name}.{os.getpid()}.new")
    with contextlib.suppress(FileNotFoundError):
        new.unlink()
    descriptor = os.open(new, os.O_WRONLY | os.O_CREAT | os.O_EXCL | os.O_CLOEXEC, 0o600)
    with open(descriptor, "w", encoding="utf-8") as f:
        f.write(text)
    new.replace(path)


@contextlib.contextmanager
def locked(path: Path) -> Iterator[None]:
    """Holds the file's lock against other processes and threads."""
    path.parent.mkdir(mode=0o700, parents=True, exist_ok=True)
    lock = path.with_name(path.name + ".lock")
    descriptor = os.open(lock, os.O_RDWR | os.O_CREAT | os.O_CLOEXEC | os.O_NOFOLLOW, 0o600)
    try:
        fcntl.flock(descriptor, fcntl.LOCK_EX)
        yield
    finally:
        os.close(descriptor)
