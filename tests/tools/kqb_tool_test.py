"""Tests of the command-line tool: what it prints, its exit codes, what it refuses.

Usage: kqb_tool_test.py TOOL HOME [unittest argument]...
"""

import csv
import grp
import io
import json
import os
import pwd
import pty
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

OK, FAILURE, USAGE, NOT_FOUND = range(4)
tool, home = sys.argv[1:3]


def run(*arguments, env=None, stdout=subprocess.PIPE):
    inherited = {name: value for name, value in os.environ.items() if name != "KQEXEC_HOME"}
    return subprocess.run(
        [tool, *arguments],
        env={**inherited, **(env or {})},
        stdout=stdout,
        stderr=subprocess.PIPE,
        timeout=60,
        check=False,
    )


def json_lines(output):
    return [json.loads(line) for line in output.decode().split("\n")[:-1]]


class ToolTest(unittest.TestCase):
    def check(self, expected, *arguments, code=OK, env=None):
        result = run(*arguments, env=env)
        self.assertEqual((code, expected.encode()), (result.returncode, result.stdout), arguments)
        # Whoever fails says why, and nobody else says anything.
        self.assertEqual(code != OK, result.stderr.startswith(b"kqb: "), result.stderr)


class UsageTest(ToolTest):
    def test_command_lines_that_are_not_understood(self):
        for arguments in (
            [],
            ["nothing"],
            ["config"],
            ["config", "get", "file"],
            ["overlay", "file", "list"],
            ["options", "--set", "KEY"],
            ["options", "--set", "=value"],
            ["options", "--home", "/nowhere"],
            ["attributes", "a", "--separator", "||"],
            ["message", "many"],
            ["message", *"012345678901"],
            ["decimal", "1", "+", "2"],
            ["type"],
        ):
            self.check("", *arguments, code=USAGE)

    def test_help_lists_exit_codes(self):
        commands = "options,option,config,config set,overlay,attributes,message,decimal,type,uri"
        commands += ",mail,encrypt,decrypt"
        for command in ["", *commands.split(",")]:
            result = run(*command.split(), "--help")
            self.assertEqual(OK, result.returncode)
            self.assertIn(b"Exit codes:", result.stdout)

    def test_full_output_is_a_failure(self):
        with open("/dev/full", "wb") as full:
            result = run("option", "BASE/TEMP", "--home", home, stdout=full)
        self.assertEqual(FAILURE, result.returncode)


class OptionsTest(ToolTest):
    def options(self, *arguments, env=None):
        result = run("options", "--json", "--home", home, *arguments, env=env)
        self.assertEqual(OK, result.returncode, result.stderr)
        return {option["key"]: option["value"] for option in json_lines(result.stdout)}

    def test_home(self):
        self.check("", "option", "BASE/TEMP", code=FAILURE)
        self.check("/tmp\n", "option", "base/temp", env={"KQEXEC_HOME": home})
        other = {"KQEXEC_HOME": "/nowhere"}
        self.check("/tmp\n", "option", "BASE/TEMP", "--home", home, env=other)

    def test_sources_override_each_other(self):
        with tempfile.TemporaryDirectory() as user:
            Path(user, "app.cfg").write_text("FROM=user\n", encoding="utf-8")
            staged = Path(user, "staged.cfg")
            staged.write_text("FROM=staged\n", encoding="utf-8")
            base = ["option", "FROM", "--home", home, "--user", user]
            self.check("user\n", *base)
            base += ["--config", "staged.cfg"]
            self.check("staged\n", *base)
            self.check("environment\n", *base, env={"FROM": "environment"})
            base += ["--set", "FROM=x", "--set", "From=[a,b]"]
            self.check("[a,b]\n", *base, env={"FROM": "environment"})

    def test_expansion(self):
        base = ["option", "X", "--home", home, "--set", "Y=1"]
        self.check("a%%Y%%\n", *base, "--set", "X=a%%Y%%")
        self.check("a1\n", *base, "--set", "X=a%%Y%%", "--expand")
        self.check("", *base, "--set", "X=%%NO%%", "--expand", code=NOT_FOUND)

    def test_passwords_are_masked_also_where_references_carry_them(self):
        secrets = ["METAPASS=s3cret", "BASE/AUTH_SERVER_LOC=srv;user=a;pass=s3cret,x"]
        carrier = "DSN=user;%%METAPASS%%"
        arguments = [part for text in [*secrets, carrier] for part in ("--set", text)]
        for expand, dsn in ((), "user;%%METAPASS%%"), (("--expand",), "user;********"):
            options = self.options(*arguments, *expand)
            self.assertEqual("********", options["METAPASS"])
            self.assertEqual("srv;user=a;pass=********,x", options["BASE/AUTH_SERVER_LOC"])
            self.assertEqual(dsn, options["DSN"])
            self.assertNotIn("s3cret", str(options))

    def test_applied_options_are_undone(self):
        base = ["options", "--home", home, "--set", "A=1", "--set", "METAPASS=s3cret"]
        text = "a=2;metapass=x;B=%%A%%;word"
        self.check("previous a=1\nprevious metapass=********\nnew B\nnew \n", *base, "--apply", text)
        listed = json_lines(run(*base, "--json", "--apply", text).stdout)
        self.assertEqual({"option": "previous", "key": "a", "value": "1"}, listed[0])
        self.assertEqual(["B", None], [row["key"] for row in listed if row["option"] == "new"])
        rows = "option,key,value\r\nprevious,a,1\r\nprevious,metapass,********\r\n"
        self.check(rows, *base, "--csv", "--apply", "a=2;metapass=x")
        self.check("", *base, "--apply", "")

    def test_json_holds_any_bytes(self):
        options = self.options(env={b"BYTES": b'\xffa"\n\xc3\xa9'})
        self.assertEqual('\ufffda"\né', options["BYTES"])


class ConfigTest(ToolTest):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = Path(folder.name, "a.cfg")

    def config(self, command, *arguments, expected="", code=OK):
        self.check(expected, "config", command, str(self.path), *arguments, code=code)

    def test_changes_keep_the_rest(self):
        self.path.write_text("# hand\n\nplain\n# why\nKey = 1\nOther=2\n", encoding="utf-8")
        self.config("get", "KEY", expected="1\n")
        self.config("comment", "key", expected=" why\n")
        self.config("set", "key", "-5")
        self.config("comment", "other", "one\ntwo")
        self.config("set", "New", "a = b")
        self.config("delete", "Key")
        self.config("list", expected="New=a = b\nOther=2\n")
        self.assertEqual(
            "# hand\n\nplain\n# why\n#-DELETED Key=-5\n#one\\ntwo\nOther=2\n\nNew=a = b\n",
            self.path.read_text(encoding="utf-8"),
        )

    def test_list_in_every_format(self):
        text = '#one\\ntwo\nb=say "x, y"\na=\nlong key=\xc3\xa9\n'
        self.path.write_bytes(text.encode("latin-1"))
        output = run("config", "list", str(self.path), "--csv").stdout.decode()
        rows = [["key", "value", "comment"], ["a", "", ""], ["b", 'say "x, y"', "one\ntwo"],
                ["long key", "é", ""]]
        self.assertEqual(rows, list(csv.reader(io.StringIO(output, newline=""), strict=True)))
        self.assertEqual(4 + 1, output.count("\n"))
        self.assertEqual(4, output.count("\r\n"))
        self.config("list", "--table", expected="key       value       comment\na\n"
                    'b         say "x, y"  one\\ntwo\nlong key  é\n')
        self.config("list", "--csv", "--json", code=USAGE)
        listed = json_lines(run("config", "list", str(self.path), "--json").stdout)
        self.assertEqual([dict(zip(rows[0], row)) for row in rows[1:]], listed)

    def test_what_cannot_be_done_leaves_the_file(self):
        self.config("set", "k", "v", code=FAILURE)
        self.assertFalse(self.path.exists())
        self.config("set", "k", "v", "--create")
        for command, *arguments in ("get", "x"), ("delete", "x"), ("comment", "x", "c"):
            self.config(command, *arguments, code=NOT_FOUND)
        for key, value in ("a=b", "v"), ("#a", "v"), (" a", "v"), ("a", "v "), ("a", "v\nb=c"):
            self.config("set", key, value, code=USAGE)
        self.config("comment", "k", "a\rb=c", code=USAGE)
        self.assertEqual("\nk=v\n", self.path.read_text(encoding="utf-8"))


class OverlayTest(ToolTest):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.base = Path(folder.name, "base.cfg")
        self.path = Path(folder.name, "user.cfg")
        self.base.write_text("# why\nTemp=/tmp\nShared=yes\n", encoding="utf-8")

    def overlay(self, command, *arguments, expected="", code=OK):
        files = [str(self.base), str(self.path)]
        self.check(expected, "overlay", *files, command, *arguments, code=code)

    def test_changes_lie_over_the_base(self):
        self.overlay("list", expected="base Shared=yes\nbase Temp=/tmp\n")
        self.overlay("set", "TEMP", "/scratch")
        self.overlay("set", "Own", "-1")
        self.overlay("comment", "shared", "as it was")
        self.overlay("comment", "temp", expected=" why\n")
        self.overlay("list", expected="overlay Own=-1\nboth Shared=yes\nboth Temp=/scratch\n")
        files = [str(self.base), str(self.path)]
        listed = json_lines(run("overlay", *files, "list", "--json").stdout)
        self.assertEqual({"key": "Own", "base": None, "overlay": "-1", "comment": ""}, listed[0])
        rows = list(csv.reader(io.StringIO(run("overlay", *files, "list", "--csv").stdout.decode())))
        self.assertEqual(["Temp", "/tmp", "/scratch", " why"], rows[-1])
        for key in "own", "shared", "temp":
            self.overlay("clear", key)
        self.overlay("list", expected="base Shared=yes\nbase Temp=/tmp\n")

    def test_what_cannot_be_done_leaves_the_files(self):
        for command, *arguments in ("clear", "temp"), ("clear", "x"), ("comment", "x", "c"):
            self.overlay(command, *arguments, code=NOT_FOUND)
        for key, value in ("a=b", "v"), ("#a", "v"), ("a", "v\nb=c"), ("Temp", ""):
            self.overlay("set", key, value, code=USAGE)
        self.assertFalse(self.path.exists())
        self.base.unlink()
        self.overlay("list", code=FAILURE)


class AttributesTest(ToolTest):
    def test_lists(self):
        self.check("a=1\nb= 2\nc\nd=\n", "attributes", "a=1; b = 2 ;;c;d=")
        self.check("a;b=1\n", "attributes", "a%3Bb=1")
        self.check("a=1;b\nc\n", "attributes", "a=1;b|c", "--separator", "|")
        self.check("", "attributes", "")
        listed = json_lines(run("attributes", "a=;b=\"", "--json").stdout)
        expected = [{"name": "a", "value": None}, {"name": "b", "value": '"'}]
        self.assertEqual(expected, listed)
        self.check('name,value\r\na,\r\n,"x,y"\r\n', "attributes", "a=;x,y", "--csv")


class MessageTest(ToolTest):
    def message(self, expected, *arguments, code=OK):
        self.check(expected, "message", "--home", home, *arguments, code=code)

    def test_texts(self):
        self.message("There is not enough memory\n", "444")
        self.message("Der Speicher reicht nicht aus\n", "444", "--locale", "de_AT")
        self.message("The file '[a,b]' could not be read: -5\n", "97", "[a,b]", "-5")
        self.message("The file '' could not be read: \n", "97")

    def test_missing(self):
        self.message("", "99999", code=NOT_FOUND)
        self.message("", "444", "--catalog", "Nothing", code=NOT_FOUND)
        self.message("", "444", "--locale", "!!", code=USAGE)


class DecimalTest(ToolTest):
    def decimal(self, expected, expression, code=OK):
        self.check(expected, "decimal", "--", expression, code=code)

    def test_values(self):
        for expression, expected in (
            ("1 + 2 * 3 - -4", "11"),
            ("-(1.5 - 4) / 2.0", "1.25"),
            ("1e3+.5E-1", "1000.05"),
            ("1/3*0", "0 (rounded)"),
            ("sqrt(16) + abs(-1) + mod(5, 3)", "4"),
            ("round(2.345, 2) + floor(-1.5) + ceiling(1.5)", "3.35"),
            ("(1e52 - 1) * 1e9", "9." + 51 * "9" + "E+60"),
            ("1e-20 * 1." + 50 * "1" + "2", "0." + 19 * "0" + 51 * "1" + "2"),
            (52 * "9" + ".4", 52 * "9" + " (rounded)"),
            (200 * "(" + "1" + 200 * ")", "1"),
        ):
            self.decimal(expected + "\n", expression)
        result = run("decimal", "2/3", "--json")
        expected = {"expression": "2/3", "value": "0." + 51 * "6" + "7", "rounded": True}
        self.assertEqual(expected, json.loads(result.stdout))

    def test_failures_name_their_position(self):
        for expression, position, code in (
            ("", 1, USAGE),
            ("1 2", 3, USAGE),
            ("(1", 3, USAGE),
            ("1.2.3", 1, USAGE),
            ("1 + “2”", 5, USAGE),
            ("power(2)", 1, USAGE),
            ("round(1)", 8, USAGE),
            ("round(1, 0.5)", 1, USAGE),
            (100000 * "(", 257, USAGE),
            (100000 * "-", 257, USAGE),
            ("1 + 2 / (1 - 1)", 7, FAILURE),
            ("1 + sqrt(-4)", 5, FAILURE),
        ):
            result = run("decimal", "--", expression)
            self.assertEqual((code, b""), (result.returncode, result.stdout), expression[:20])
            self.assertIn(f" at position {position} of ".encode(), result.stderr)


class TypeTest(ToolTest):
    def test_types(self):
        self.check("code=3\nname=Real\n", "type", "real")
        self.check("code=5\nname=Date\ndateOrder=2\n", "type", "date (ymd)")
        self.check("code=0\nname=Unknown\n", "type", "UNKNOWN")
        for name in "Numeric", "", "Date(MDY)":
            self.check("", "type", name, code=NOT_FOUND)
        result = run("type", "Date (DMY)", "--json")
        self.assertEqual({"code": 5, "name": "Date", "dateOrder": 1}, json.loads(result.stdout))


class UriTest(ToolTest):
    def uri(self, *arguments):
        result = run("uri", *arguments, "--json")
        self.assertEqual(OK, result.returncode, result.stderr)
        return json.loads(result.stdout)

    def test_kinds(self):
        for text, kind, path in (
            ("ftp://h/a%20b?x%3Fy=1#z", "generic", "\\\\h\\a b"),
            ("kqd://Sales/dbo/Orders/x", "data", "\\\\Sales.ODBC\\dbo\\Orders\\\\"),
            ("kqr://repo1/Jobs/Load(Job)", "repository", "\\\\repo1\\Jobs\\Load"),
            ("rzsref://srv/a?ObjectType=Job", "reference", "\\\\srv\\a"),
            ("hadoop:///user/x?k=v", "hadoop", "user\\x"),
            ("kqwt://a/b?c='1'#start=0,count=100", "worktable", "a\\b"),
        ):
            shown = self.uri(text)
            self.assertEqual((kind, path, text), (shown["kind"], shown["nativePath"], shown["text"]))

    def test_work_table_as_lines(self):
        self.check(
            "kind: worktable\nname: T\nstart: 2\ncount: -1\ncolumn: Integer id=7\n"
            "column: Unknown n=\nscheme: kqwt\nhost: \npath: T\nquery: id=Integer'7',n\n"
            "fragment: start=2\npair: id=Integer'7',n\ntext: kqwt://T?id=Integer'7',n#start=2\n"
            "escaped: kqwt://T?id=Integer'7',n#start=2\nnativePath: T\n",
            "uri", "kqwt://T?id=Integer'7',n#start=2",
        )

    def test_build(self):
        for arguments, text in (
            (["generic", "s", "h", "a\\b", "q", "f"], "s://h/a/b"),
            (["data", "kqd", "", "Sales", "ODBC", "dbo"], "kqd://Sales.ODBC/dbo/"),
            (["data", "kqf", "[a,b]"], "kqf://[a,b]./"),
            (["repository", "r", "Jobs/Load", "Job"], "kqr://r/Jobs/Load(Job)"),
            (["reference", "srv", "a"], "rzsref://srv/a"),
            (["hadoop", "a/b"], "hadoop:///a/b"),
            (["worktable", "T", "", "5"], "kqwt://T#count=5"),
            (
                ["worktable", "T", "0", "--column", "id", "integer", "7", "--column", "n", "unknown", "O'N"],
                "kqwt://T?id=Integer'7',n='O%27N'#start=0",
            ),
        ):
            self.assertEqual(text, self.uri("build", *arguments)["text"])

    def test_escapes(self):
        self.check("a%20b%3Fc%C3%A9&\n", "uri", "escape", "a b?cé&")
        self.check("a b%26\n", "uri", "escape", "a b&", "--specials", "&")
        self.check("aA%zz\n", "uri", "unescape", "a%41%00%zz")

    def test_refusals(self):
        self.check("", "uri", "kqr:/x", code=FAILURE)
        self.check("", "uri", "hadoop:///a?b", code=FAILURE)
        self.check("", "uri", "escape", b"a\xff", code=FAILURE)
        column = ["build", "worktable", "T", "--column"]
        self.check("", "uri", *column, "id", "integer", "x", code=FAILURE)
        self.check("", "uri", *column, "id", "number", "x", code=NOT_FOUND)
        for arguments in (
            [], ["build"], ["build", "nothing"], ["escape"], ["a", "b"],
            ["build", "worktable", "T", "x"], [*column, "id"],
        ):
            self.check("", "uri", *arguments, code=USAGE)


class TemplateTest(ToolTest):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def template(self, expected, content, *arguments, code=OK):
        file = Path(self.folder.name, "text")
        file.write_bytes(content)
        self.check(expected, "template", str(file), *arguments, "--home", home, code=code)

    def test_expansion(self):
        self.template("", b"")
        self.template("a=1 {b} [x,y]=\n", b"a={a} {{b}} {c}\n", "a=1", "c=[x,y]=")
        self.template("{a}\n[ä]\n", "{a}[ä]".encode(), "--variables")
        shown = '[\n  {\n    "name": "a",\n    "bracketed": true\n  }\n]\n'
        self.template(shown, b"[a]", "--variables", "--json")

    def test_refusals(self):
        for content, arguments, reason, code in (
            (b"{a}{b}", ["a=1"], "variable 'b' has no value", FAILURE),
            (b"{a}", ["a=1", "b=2"], "no variable 'b'", NOT_FOUND),
            (b"{a", [], "ends where '}' is expected", FAILURE),
            (b"a\0b", [], "NUL", FAILURE),
            (b"{a}", ["a"], "not of the form KEY=VALUE", USAGE),
        ):
            file = Path(self.folder.name, "text")
            file.write_bytes(content)
            result = run("template", str(file), *arguments, "--home", home)
            self.assertEqual((code, b""), (result.returncode, result.stdout), content)
            self.assertIn(reason.encode(), result.stderr)
        self.check("", "template", self.folder.name, "--home", home, code=FAILURE)
        self.check("", "template", code=USAGE)


class RunTest(ToolTest):
    def run_command(self, expected, *arguments, code=OK, reason=b""):
        result = run("run", "--home", home, *arguments)
        self.assertEqual((code, expected), (result.returncode, result.stdout), arguments)
        self.assertIn(reason, result.stderr)

    def test_commands(self):
        self.run_command(b"[a,b] -c\n", "--", "echo", "[a,b]", "-c")
        self.run_command(b"--timeout -- --home\n", "--", "echo", "--timeout", "--", "--home")
        self.run_command(b"1 x y\n", "--env", "A=1", "--env", "B=x y", "--", "sh", "-c", "echo $A $B")
        self.run_command(b"2\n3\n", "--shell", "--", "echo", "$((1+1))", ";", "echo", "3")
        self.run_command(b"a b \n", "--capture", "--", "printf", "a\\nb\\n")
        self.run_command(b"", "--", "false")

    def test_failures(self):
        self.run_command(b"", "--", "/no/such", code=FAILURE, reason=b"/no/such. Error: No such")
        self.run_command(b"", "--", "sh", "-c", "kill -9 $$", code=FAILURE, reason=b"(code 9)")
        self.run_command(b"a\n", "--timeout", "1", "--", "sh", "-c", "echo a; sleep 9",
                         code=FAILURE, reason=b"time limit of 1 second")
        for arguments in ([], ["--"], ["--timeout", "x", "--", "true"], ["--env", "A", "--", "true"]):
            self.run_command(b"", *arguments, code=USAGE)


class ListTest(ToolTest):
    def rows(self, *arguments):
        result = run("list", *arguments, "--csv", "--home", home)
        self.assertEqual(OK, result.returncode, result.stderr)
        return list(csv.DictReader(io.StringIO(result.stdout.decode(), newline="")))

    def test_this_machine(self):
        users = [(user.pw_name, str(user.pw_uid)) for user in pwd.getpwall()]
        self.assertEqual(users, [(row["Name"], row["ID"]) for row in self.rows("users")])
        name = users[0][0]
        groups = [row["Name"] for row in self.rows("groups-of", name)]
        own = grp.getgrgid(pwd.getpwnam(name).pw_gid).gr_name
        self.assertIn(own, groups)
        for group in (own, str(grp.getgrnam(own).gr_gid)):
            self.assertIn(name, [row["Name"] for row in self.rows("members", group)])
        self.assertEqual([], self.rows("maps"))
        host = os.uname().nodename
        self.assertEqual([host], [row["Name"] for row in self.rows("domains")])
        self.assertEqual([host], [row["Server Host"] for row in self.rows("servers")])
        for arguments in (["groups-of", "no such user"], ["members", "no such group"]):
            self.check("", "list", *arguments, "--home", home, code=FAILURE)

    def test_another_directory(self):
        faulty = Path(__file__).parent.parent / "identity" / "faulty_directory.py"
        directory = subprocess.Popen(
            [sys.executable, faulty, "ranged"], stdout=subprocess.PIPE, text=True
        )
        self.addCleanup(directory.stdout.close)
        self.addCleanup(directory.wait)
        self.addCleanup(directory.terminate)
        location = f"ldap://127.0.0.1:{directory.stdout.readline().strip()}/dc=x;starttls=no"
        rows = self.rows("members", "all", "--server", location + ";users.id=dn;groups.id=cn")
        self.assertEqual([f"member {i}" for i in range(25)], [row["Name"] for row in rows])

    def test_passwords_are_not_for_command_lines_and_messages(self):
        closed = "ldap://127.0.0.1:1/dc=x;starttls=no"
        self.check("", "list", "users", "--server", closed + ";pass=s3cret", code=USAGE)
        with tempfile.TemporaryDirectory() as folder:
            secret = Path(folder, "secret")
            secret.write_text("s3cret\n", encoding="utf-8")
            login = ["--login", "cn=x", "--password-file", str(secret)]
            result = run("list", "users", "--server", closed, *login, "--home", home)
            self.assertEqual((FAILURE, b""), (result.returncode, result.stdout))
            self.assertIn(b"Can't contact", result.stderr)
            self.assertNotIn(b"s3cret", result.stderr)
            self.check("", "list", "users", "--password-file", folder, "--home", home, code=FAILURE)


class CryptTest(ToolTest):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = Path(folder.name, "text")
        self.key = Path(folder.name, "key")
        self.key.write_text("open sesame\nsecond line\n", encoding="utf-8")

    def crypt(self, command, text, code=OK):
        self.path.write_bytes(text)
        result = run(command, str(self.path), "--passphrase-file", str(self.key), "--home", home)
        self.assertEqual(code, result.returncode, result.stderr)
        self.assertEqual(code != OK, result.stderr.startswith(b"kqb: "), result.stderr)
        return result.stdout

    def test_texts_come_back(self):
        for text in b"", b"s3cret\n", "größer\n\n".encode():
            encrypted = self.crypt("encrypt", text)
            self.assertRegex(encrypted, rb"\A[A-Za-z0-9+/=]+\n\Z")
            self.assertEqual(text, self.crypt("decrypt", encrypted))

    def test_refusals(self):
        encrypted = self.crypt("encrypt", b"s3cret")
        self.key.write_text("another\n", encoding="utf-8")
        for text in encrypted, encrypted[:-9], b"no", b"":
            self.assertEqual(b"", self.crypt("decrypt", text, FAILURE))
        self.crypt("encrypt", b"a\0b", FAILURE)
        for content in "", "\nlater\n", "x" * 5000:
            self.key.write_text(content, encoding="utf-8")
            self.crypt("encrypt", b"text", FAILURE)
        self.key.unlink()
        self.crypt("encrypt", b"text", FAILURE)

    # Typed as at a keyboard, and never shown.
    def test_terminal(self):
        script = (f"{tool} encrypt --home {home} <{self.path} >{self.path}.out; echo code $?;")
        for typed, code in (("pass\npass\n", 0), ("pass\npast\n", 1), ("\n", 1)):
            self.path.write_text("text", encoding="utf-8")
            child, terminal = pty.fork()
            if child == 0:
                os.execv("/bin/sh", ["sh", "-c", script])
            shown, prompts = b"", 0
            for line in typed.splitlines(keepends=True):
                prompts += 1
                while shown.count(b": ") < prompts:
                    shown += os.read(terminal, 1000)
                os.write(terminal, line.encode())
            while b"code" not in shown or not shown.endswith(b"\n"):
                shown += os.read(terminal, 1000)
            os.waitpid(child, 0)
            os.close(terminal)
            self.assertIn(f"code {code}".encode(), shown)
            self.assertNotIn(b"pas", shown.replace(b"Passphrase", b"").replace(b"passphrase", b""))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
