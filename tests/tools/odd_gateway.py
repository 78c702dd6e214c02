# A Gateway for Python tests with statistics of any bytes, and zolstat to ask it.
# Not a test.
# The protocol that the two speak is written down in docs/protocol.md.
import os
import pathlib
import subprocess
import tempfile

ZOLSTAT = os.environ["ZOLSTAT"]
ODD_GATEWAY = os.environ["ODD_GATEWAY"]
SCRATCH = os.environ["SCRATCH"]


def escaped(data):
    """Bytes as the Gateway's file wants them."""
    return "".join(chr(b) if 0x20 <= b <= 0x7E and b != 0x5C else f"\\x{b:02x}" for b in data)


def as_bytes(text):
    return text if isinstance(text, bytes) else text.encode()


class OddGateway:
    """Serves rows of (group, id, value), or of (group,) where a group has no statistics."""

    def __init__(self, rows):
        self._folder = tempfile.TemporaryDirectory(dir=SCRATCH)
        self._file = pathlib.Path(self._folder.name) / "statistics"
        self.tell(rows)
        self._process = subprocess.Popen([ODD_GATEWAY, self._file], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.port = int(self._process.stdout.readline().rpartition(b":")[2])
        self.name = f"127.0.0.1:{self.port}"

    def tell(self, rows):
        """From the next query on."""
        new = self._file.with_suffix(".new")
        new.write_text("".join("\t".join(escaped(as_bytes(field)) for field in row) + "\n" for row in rows))
        new.rename(self._file)

    def close(self):
        self._process.communicate()
        self._folder.cleanup()


def environment(**variables):
    """That of this process, less what would configure zolstat."""
    kept = {name: value for name, value in os.environ.items() if not name.startswith("ZOLSTAT")}
    return {**kept, "XDG_CONFIG_HOME": SCRATCH, "TZ": "America/New_York", **variables}


def zolstat(*arguments):
    return subprocess.run([ZOLSTAT, *arguments], env=environment(), capture_output=True, timeout=60)
