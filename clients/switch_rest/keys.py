"""Session keys that outlive a process, so that a thousand calls take one of the five sessions."""

import hashlib
from dataclasses import dataclass, field
from pathlib import Path

from switch_rest.private_files import read_private, user_folder, write_private


@dataclass(frozen=True)
class KeyStore:
    """A folder with one file, mode 0600, for each switch and user."""

    folder: Path = field(
        default_factory=lambda: user_folder("XDG_CACHE_HOME", ".cache") / "sessions"
    )

    def path(self, url: str, user: str) -> Path:
        return self.folder / hashlib.sha256(f"{url}\n{user}".encode()).hexdigest()[:32]

    def read(self, url: str, user: str) -> str | None:
        return read_private(self.path(url, user)) or None

    def write(self, url: str, user: str, key: str) -> None:
        write_private(self.path(url, user), key)

    def forget(self, url: str, user: str) -> None:
        self.path(url, user).unlink(missing_ok=True)
