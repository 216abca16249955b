"""Reads a message with an added attachment back with Python's own parser.

usage: ReadAttachmentBack.py OLD NEW DATA NAME

NEW must be the multipart message OLD with one more part behind the others: a base64 attachment
NAME of the bytes in the file DATA. The other parts must read as they do in OLD.
"""
import email
import email.policy
import sys


def read(path):
    with open(path, "rb") as file:
        return file.read()


def leaves(message):
    return [
        (part.get_content_type(), part.get_filename(), part.get_payload(decode=True))
        for part in message.walk()
        if not part.is_multipart()
    ]


old_path, new_path, data_path, name = sys.argv[1:]
old = email.message_from_bytes(read(old_path), policy=email.policy.default)
new = email.message_from_bytes(read(new_path), policy=email.policy.default)

assert new.get_content_type() == "multipart/mixed", new.get_content_type()
assert new.items() == old.items(), "header fields"
assert not new.defects, new.defects
parts = new.get_payload()
assert len(parts) == len(old.get_payload()) + 1, len(parts)
added = parts[-1]
assert added["Content-Transfer-Encoding"] == "base64"
assert added.get_filename() == name, added.get_filename()
assert added.get_payload(decode=True) == read(data_path), "the attachment's bytes"
assert leaves(new)[:-1] == leaves(old), "the other parts"
