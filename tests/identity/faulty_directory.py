"""Stands between a client and a directory, and gets in the way.

Usage: faulty_directory.py MODE [PORT]       prints the port it listens on

  silent   takes connections and never answers
  half     sends the first bytes of each answer and no more
  drip     passes answers on at ten bytes a second
  drop     closes the first connection in the middle of its answers, passes on all others
  close    closes every connection in the middle of its answers
  ranged   is itself a directory: one group of 25 members, who come ten at a time
"""

import re
import socket
import sys
import threading
import time

mode = sys.argv[1]
target = int(sys.argv[2]) if len(sys.argv) > 2 else 0
CUT = 60000  # bytes of answers, less than a page of users
connections = 0


def forward(source, sink, manner):
    passed = 0
    try:
        while data := source.recv(65536):
            passed += len(data)
            if manner == "half":
                sink.sendall(data[:5])
                time.sleep(60)
            if manner == "cut" and passed > CUT:
                break
            step = 10 if manner == "drip" else len(data)
            for i in range(0, len(data), step):
                sink.sendall(data[i:i + step])
                time.sleep(1 if manner == "drip" else 0)
    except OSError:
        pass
    for end in (source, sink):
        try:
            end.shutdown(socket.SHUT_RDWR)
        except OSError:
            pass


def pass_on(client, manner):
    server = socket.create_connection(("127.0.0.1", target))
    threading.Thread(target=forward, args=(client, server, ""), daemon=True).start()
    forward(server, client, manner)


# --- A directory of one group --------------------------------------------------------------------


def element(tag, *content):
    body = b"".join(part if isinstance(part, bytes) else part.encode() for part in content)
    size = bytes([len(body)]) if len(body) < 128 else b"\x82" + len(body).to_bytes(2, "big")
    return bytes([tag]) + size + body


def attribute(name, *values):
    return element(0x30, element(4, name), element(0x31, *(element(4, each) for each in values)))


def group_entry(request):
    wanted = re.search(rb"range=(\d+)-", request)
    first = int(wanted.group(1)) if wanted else 0
    last = "*" if first == 20 else str(first + 9)
    members = [f"cn=member {i},dc=x" for i in range(first, min(first + 10, 25))]
    return ("cn=all,dc=x", attribute("objectClass", "group"), attribute("cn", "all"),
            attribute(f"member;range={first}-{last}", *members))


def answer(client):
    while data := client.recv(65536):
        while data:
            extra = max(data[1] - 0x80, 0)  # bytes of a length that does not fit the first
            size = int.from_bytes(data[2:2 + extra], "big") if extra else data[1]
            request, data = data[2 + extra:2 + extra + size], data[2 + extra + size:]
            number = request[:2 + request[1]]
            if request[len(number)] == 0x42:
                return
            member = re.search(rb"cn=member \d+,dc=x", request)
            is_filter = b"(" not in request and b"\xa3" in request
            if member and not is_filter:
                name = member.group().decode()
                found = (name, attribute("objectClass", "person"), attribute("cn", name[3:-5]))
            else:
                found = group_entry(request)
            client.sendall(element(0x30, number, element(0x64, element(4, found[0]),
                                                         element(0x30, *found[1:]))))
            client.sendall(element(0x30, number, element(0x65, b"\x0a\x01\x00\x04\x00\x04\x00")))


listener = socket.create_server(("127.0.0.1", 0))
print(listener.getsockname()[1], flush=True)
held = []
while True:
    peer = listener.accept()[0]
    connections += 1
    if mode == "silent":
        held.append(peer)
        continue
    if mode == "ranged":
        work, arguments = answer, (peer,)
    else:
        cuts = mode == "close" or mode == "drop" and connections == 1
        work, arguments = pass_on, (peer, "cut" if cuts else mode)
    threading.Thread(target=work, args=arguments, daemon=True).start()
