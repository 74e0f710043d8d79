#!/usr/bin/env python3
"""publish_card.py SOCKET NODE: publishes a line card and a capability, with python3-redis and nothing of the library."""
import struct
import sys

import redis

CARDS, CAPABILITIES = 1, 28
WRITTEN, DELIVERED = 1, 4  # the commands that followers of an object and of a hash are told
OBJECT, HASH = 0, 1

# The record, the set of its type's records and the notification, in one atomic step.
WRITE_HASH = """
redis.call('SADD', KEYS[2], KEYS[1])
redis.call('HSET', KEYS[1], unpack(ARGV, 4))
local notification = ARGV[3] .. cmsgpack.pack(redis.call('HGETALL', KEYS[1]))
redis.call('PUBLISH', ARGV[1], notification)
redis.call('PUBLISH', ARGV[2], notification)
"""
WRITE_OBJECT = """
redis.call('SET', KEYS[1], ARGV[3])
redis.call('PUBLISH', ARGV[1], ARGV[2] .. ARGV[3])
"""


def varint(number):
    number &= 2**64 - 1  # a negative number has ten bytes
    encoded = b""
    while number > 0x7F:
        encoded += bytes([number & 0x7F | 0x80])
        number >>= 7
    return encoded + bytes([number])


def field(number, value):
    if isinstance(value, dict):
        value = message(value)
    elif isinstance(value, int):
        return varint(number << 3) + varint(value) if value else b""
    elif not value:
        return b""
    value = value.encode() if isinstance(value, str) else value
    return varint(number << 3 | 2) + varint(len(value)) + value


def message(fields):
    return b"".join(field(number, value) for number, value in fields.items())


def head(command, form, written=()):
    return struct.pack(f"<iII{len(written)}i", command, form, len(written), *written)


class Store:
    def __init__(self, socket):
        self.databases = {db: redis.Redis(unix_socket_path=socket, db=db) for db in (CARDS, CAPABILITIES)}

    def write_hash(self, db, record_type, index, fields):
        key = ":".join([record_type, *map(str, index)])
        stored = {5: field(5, dict(enumerate(index, 1)))}
        stored.update((number, field(number, value)) for number, value in fields.items())
        pairs = [part for pair in stored.items() for part in pair]
        self.databases[db].eval(WRITE_HASH, 2, key, f"records:{record_type}", f"mom:{db}:{record_type}",
                                f"mom:{db}:{key}", head(DELIVERED, HASH, list(fields)), *pairs)

    def write_object(self, db, record_type, fields):
        self.databases[db].eval(WRITE_OBJECT, 1, record_type, f"mom:{db}:{record_type}", head(WRITTEN, OBJECT),
                                message(fields))


def main():
    socket, node, model = sys.argv[1], int(sys.argv[2]), 900
    store = Store(socket)
    store.write_hash(CAPABILITIES, "p_libpub.cap_table", ["/l3/arp/capacity"], {7: 4096})
    slot = [0, 0, node, 0]
    store.write_hash(CARDS, "p_dev.card_info", slot, {6: model, 7: True, 14: {6: 3, 8: "LC"}, 17: node})
    store.write_hash(CAPABILITIES, "p_libpub.app_df_card_deny_check_result", slot, {6: 1, 7: model, 8: node})
    store.write_hash(CAPABILITIES, "s_frame.cap_fe_ready", [node, model],
                     {6: True, 7: model, 8: 0, 9: node, 10: 0, 11: 3, 12: True})
    store.write_object(CAPABILITIES, "s_frame.cap_glb_state", {5: True})


main()
