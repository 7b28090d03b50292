"""Mails sent by the tool through msmtp to an SMTP server on this machine, and read there.

Usage: kqb_mail_test.py TOOL HOME [unittest argument]...
"""

import email
import email.header
import os
import random
import re
import shlex
import socket
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from aiosmtpd.controller import Controller

OK, FAILURE, USAGE, _ = range(4)
tool, home = sys.argv[1:3]


def mail(*arguments):
    return subprocess.run([tool, "mail", "--home", home, *arguments], stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, timeout=60, check=False)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Mailbox:
    def __init__(self):
        self.envelopes = []

    async def handle_DATA(self, _server, _session, envelope):
        self.envelopes.append(envelope)
        return "250 taken"


def header(message, name):
    return b"".join(
        part if isinstance(part, bytes) else part.encode()
        for part, _ in email.header.decode_header(message[name])
    )


def file_name(part):
    raw = dict(part.raw_items())["Content-Disposition"].encode("ascii", "surrogateescape")
    return re.sub(rb"\\(.)", rb"\1", re.fullmatch(rb'attachment; filename="(.*)"', raw)[1])


class MailTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.box = Mailbox()
        self.port = free_port()
        server = Controller(self.box, hostname="127.0.0.1", port=self.port)
        server.start()
        self.addCleanup(server.stop)
        self.command = (f"cd {shlex.quote(folder.name)}; msmtp --host=127.0.0.1 --port={self.port} "
                        "--tls=off --auth=off --from=me@example.com -- %T < %B")

    def send(self, *arguments, code=OK):
        result = mail("--command", self.command, "--directory", str(self.folder), *arguments)
        self.assertEqual((code, b""), (result.returncode, result.stdout), result.stderr)
        self.assertEqual(code != OK, result.stderr.startswith(b"kqb: "), result.stderr)

    def attach(self, name, content):
        path = os.path.join(os.fsencode(self.folder), name)
        Path(os.fsdecode(path)).write_bytes(content)
        return "--attach", path

    def test_everything_arrives_as_it_went_in(self):
        texts = ["plain\n.\n..\n--KQ_EMAIL_0\nend", "größer\nals π", ""]
        files = {
            b"empty": b"", b"one": b"x", b"57": bytes(range(57)), b"58": bytes(range(58)),
            b"big.bin": random.Random(57).randbytes(300_000), b'q"uo\\te': b"quotes",
            b"it's $(here)": b"shell", "größe.txt".encode(): b"name",
        }
        arguments = [part for name, content in files.items() for part in self.attach(name, content)]
        arguments += [part for text in texts for part in ("--message", text)]
        self.send("--to", "you@example.com", "--from", "me@example.com", "--subject", "Grüße",
                  *arguments)
        (envelope,) = self.box.envelopes
        self.assertEqual(["you@example.com"], envelope.rcpt_tos)
        message = email.message_from_bytes(envelope.content)
        self.assertEqual("you@example.com", message["To"])
        self.assertEqual("me@example.com", message["From"])
        self.assertEqual("Grüße\0".encode(), header(message, "Subject"))
        parts = message.get_payload()
        for part, text in zip(parts, texts):
            expected = text if text.isascii() else text + "\0"
            body = part.get_payload(decode=True).replace(b"\r\n", b"\n")
            self.assertEqual(expected, body.decode(part.get_content_charset()))
        received = {file_name(part): part.get_payload(decode=True) for part in parts[len(texts):]}
        self.assertEqual(files, received)
        self.assertEqual(set(files), {os.fsencode(path.name) for path in self.folder.iterdir()})

    def test_without_body(self):
        self.send("--to", "you@example.com", "--subject", "bare")
        message = email.message_from_bytes(self.box.envelopes[0].content)
        self.assertEqual(("bare", "text/plain"), (message["Subject"], message.get_content_type()))
        self.assertEqual("", message.get_payload().strip())

    def test_recipients_are_never_run(self):
        for to in ("a;touch ran", "$(touch ran)@x.org", "`touch ran`", "'\"; touch ran; \"'", "-X ran",
                   "<a@x.org> & touch ran", "a|tee ran", "a > ran"):
            result = mail("--command", self.command, "--to", to, "--subject", "s")
            self.assertIn(result.returncode, (OK, FAILURE), result.stderr)
            self.assertEqual([], list(self.folder.iterdir()), to)

    def test_failures(self):
        base = ["--to", "you@example.com", "--subject", "s"]
        self.send("--to", "you@example.com\nBcc: x", "--subject", "s", code=FAILURE)
        self.send(*base, "--attach", str(self.folder / "none"), code=FAILURE)
        self.assertEqual([], self.box.envelopes)
        self.command = "exit 3"
        self.send(*base, code=FAILURE)
        self.command = f"msmtp --host=127.0.0.1 --port={free_port()} --from=a -- %T < %B"
        self.send(*base, code=FAILURE)
        for arguments in (base, base[:2], base[2:], [*base, "--compose-only", "--command", "true"]):
            self.assertEqual(USAGE, mail(*arguments).returncode, arguments)

    def test_compose_only(self):
        result = mail("--to", "a", "--subject", "s", "--message", "hello", "--compose-only")
        expected = ("To: a\r\nSubject: s\r\n"
                    'Content-Type: multipart/mixed; boundary="KQ_EMAIL_00"\r\nMIME-version: 1.0\r\n'
                    "This is a multi-part message in MIME format.\r\n\r\n--KQ_EMAIL_00\r\n"
                    "Content-Type: text/plain; charset=US-ASCII\r\n"
                    "Content-Transfer-Encoding: 7bit\r\n\r\nhello\r\n--KQ_EMAIL_00--\r\n")
        self.assertEqual((OK, expected.encode(), b""),
                         (result.returncode, result.stdout, result.stderr))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
