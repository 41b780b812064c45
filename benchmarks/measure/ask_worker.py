"""Asks a worker what the lines of standard input say: ask_worker.py PROGRAM ARGUMENT ..."""

import json
import socket
import subprocess
import sys

KINDS = (socket.SOCK_STREAM, socket.SOCK_STREAM, socket.SOCK_SEQPACKET, socket.SOCK_SEQPACKET)


def main(arguments, requests):
    orders, of_program = socket.socketpair(socket.AF_UNIX, socket.SOCK_SEQPACKET)
    program = subprocess.Popen(arguments, stdin=of_program)
    of_program.close()
    ours, theirs = zip(*(socket.socketpair(socket.AF_UNIX, kind) for kind in KINDS))
    socket.send_fds(orders, [bytes(8)], [one.fileno() for one in theirs])
    for one in theirs:
        one.close()
    answers = ours[0].makefile("r", encoding="utf-8")
    for request in requests:
        ours[0].sendall(request.encode())
        answer = json.loads(answers.readline() or "{}")
        if not answer.get("ok"):
            sys.exit(f"{request} was answered {answer}")
    orders.close()
    return program.wait()


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:], sys.stdin))
