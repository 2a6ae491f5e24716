# A TLS front with a GOST certificate for an IMAP server that speaks in the clear:
#
#   OPENSSL_CONF=... python3 gost-front.py TARGET-PORT CERTIFICATE KEY SUITES
#
# It listens on a free port of loopback for TLS, and on another one for STARTTLS, which it answers itself.
# Prints {"tls": port, "starttls": port}, and for each connection a line with its cipher suite, or with
# "failed". Ends with its input. The configuration file loads the engine.
import json
import os
import socket
import ssl
import sys
import threading

target, certificate, key, suites = int(sys.argv[1]), sys.argv[2], sys.argv[3], sys.argv[4]
context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
context.maximum_version = ssl.TLSVersion.TLSv1_2
context.set_ciphers(suites)
context.load_cert_chain(certificate, key)
said = threading.Lock()


def say(line):
    with said:
        print(line, flush=True)


def pump(source, sink):
    try:
        while True:
            data = source.recv(65536)
            if not data:
                break
            sink.sendall(data)
    except OSError:
        pass
    for end in (source, sink):
        try:
            end.shutdown(socket.SHUT_RDWR)
        except OSError:
            pass


# What is said in the clear, up to STARTTLS.
def say_in_the_clear(client):
    client.sendall(b"* OK ready\r\n")
    lines = client.makefile("rb")
    while True:
        words = lines.readline().split()
        if len(words) < 2:
            return False
        say("clear " + words[1].decode())
        if words[1].upper() == b"STARTTLS":
            client.sendall(words[0] + b" OK go on\r\n")
            return True
        client.sendall(b"* CAPABILITY IMAP4rev1 STARTTLS LOGINDISABLED\r\n" + words[0] + b" OK done\r\n")


def serve(client, starttls):
    try:
        if starttls and not say_in_the_clear(client):
            return
        secure = context.wrap_socket(client, server_side=True)
    except OSError:
        say("failed")
        client.close()
        return
    say(secure.cipher()[0])
    server = socket.create_connection(("127.0.0.1", target))
    if starttls:
        # The greeting was the front's.
        server.recv(65536)
    threading.Thread(target=pump, args=(server, secure), daemon=True).start()
    pump(secure, server)


def accept(listener, starttls):
    while True:
        client = listener.accept()[0]
        threading.Thread(target=serve, args=(client, starttls), daemon=True).start()


ports = {}
for name in ("tls", "starttls"):
    listener = socket.create_server(("127.0.0.1", 0))
    ports[name] = listener.getsockname()[1]
    threading.Thread(target=accept, args=(listener, name == "starttls"), daemon=True).start()
say(json.dumps(ports))
sys.stdin.read()
os._exit(0)
