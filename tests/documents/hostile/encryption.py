"""Encrypts documents for the empty user password, in every way that there is."""

import hashlib

from pdf import Pdf, sealed, to_bytes

PADDING = bytes.fromhex("28BF4E5E4E758A4164004E56FFFA01082E2E00B6D0683E802F0CA9FE6453697A")
IDENTITY = bytes(range(16))  # of the document, in its trailer
PERMISSIONS = -44


def rc4(key, data):
    box, j = list(range(256)), 0
    for i in range(256):
        j = (j + box[i] + key[i % len(key)]) & 255
        box[i], box[j] = box[j], box[i]
    out, i, j = bytearray(), 0, 0
    for byte in data:
        i = (i + 1) & 255
        j = (j + box[i]) & 255
        box[i], box[j] = box[j], box[i]
        out.append(byte ^ box[(box[i] + box[j]) & 255])
    return bytes(out)


def _double(value):
    return (value << 1) ^ (0x11B if value & 0x80 else 0)


def _multiply(a, b):
    product = 0
    while b:
        product ^= a if b & 1 else 0
        a, b = _double(a), b >> 1
    return product


def _make_sbox():
    def rotated(value, by):
        return ((value << by) | (value >> (8 - by))) & 255
    box = [0x63]
    for value in range(1, 256):
        inverse = next(i for i in range(1, 256) if _multiply(value, i) == 1)
        box.append(inverse ^ rotated(inverse, 1) ^ rotated(inverse, 2) ^ rotated(inverse, 3)
                   ^ rotated(inverse, 4) ^ 0x63)
    return box


_SBOX = _make_sbox()
_DOUBLED = [_double(value) for value in range(256)]


def _round_keys(key):
    words = [list(key[i:i + 4]) for i in range(0, len(key), 4)]
    count, constant = len(words), 1
    while len(words) < 4 * (count + 7):
        word = words[-1]
        if len(words) % count == 0:
            word = [_SBOX[byte] for byte in word[1:] + word[:1]]
            word[0] ^= constant
            constant = _double(constant)
        elif count > 6 and len(words) % count == 4:
            word = [_SBOX[byte] for byte in word]
        words.append([a ^ b for a, b in zip(word, words[-count])])
    return [sum(words[i:i + 4], []) for i in range(0, len(words), 4)]


def _mix(column):
    whole = column[0] ^ column[1] ^ column[2] ^ column[3]
    return [column[i] ^ whole ^ _DOUBLED[column[i] ^ column[(i + 1) & 3]] for i in range(4)]


_SHIFTED = [0, 5, 10, 15, 4, 9, 14, 3, 8, 13, 2, 7, 12, 1, 6, 11]


def _encrypt_block(keys, block):
    state = [a ^ b for a, b in zip(block, keys[0])]
    for key in keys[1:-1]:
        state = [_SBOX[state[i]] for i in _SHIFTED]
        state = _mix(state[:4]) + _mix(state[4:8]) + _mix(state[8:12]) + _mix(state[12:])
        state = [a ^ b for a, b in zip(state, key)]
    return bytes(_SBOX[state[i]] ^ keys[-1][n] for n, i in enumerate(_SHIFTED))


def aes_cbc(key, vector, data):
    keys, out = _round_keys(key), bytearray()
    for i in range(0, len(data), 16):
        vector = _encrypt_block(keys, [a ^ b for a, b in zip(vector, data[i:i + 16])])
        out += vector
    return bytes(out)


def aes_string(key, data):
    """As AES data stands in a document: with its vector before and padding behind."""
    pad = 16 - len(data) % 16
    return IDENTITY + aes_cbc(key, IDENTITY, data + bytes([pad]) * pad)


def strong_hash(password, salt):
    """Of revision 6."""
    key, number = hashlib.sha256(password + salt).digest(), 0
    while True:
        mixed = aes_cbc(key[:16], key[16:32], 64 * (password + key))
        algorithm = [hashlib.sha256, hashlib.sha384, hashlib.sha512][sum(mixed[:16]) % 3]
        key, number = algorithm(mixed).digest(), number + 1
        if number >= 64 and mixed[-1] <= number - 32:
            return key[:32]


def simple_hash(password, salt):
    """Of revision 5."""
    return hashlib.sha256(password + salt).digest()


def text(data):
    return "<" + to_bytes(data).hex() + ">"


class Scheme:
    """How a document is encrypted: the key, the entries of its dictionary, and how to apply it."""

    def __init__(self, version, revision, length, aes=False):
        self.version, self.revision, self.length, self.aes = version, revision, length, aes
        self.entries = {"Filter": "/Standard", "V": str(version), "R": str(revision),
                        "Length": str(length * 8), "P": str(PERMISSIONS)}
        if version == 5:
            self._add_long_key()
        else:
            self._add_short_key()
        if version >= 4:
            method = {(4, False): "V2", (4, True): "AESV2"}.get((version, aes), "AESV3")
            self.entries.update(StmF="/StdCF", StrF="/StdCF",
                                CF=f"<</StdCF<</CFM/{method}/AuthEvent/DocOpen"
                                   f"/Length {length}>>>>")

    def _add_short_key(self):
        owner = bytes(range(32))  # of a password that nobody knows
        hashed = hashlib.md5(PADDING + owner + (PERMISSIONS & 0xFFFFFFFF).to_bytes(4, "little")
                             + IDENTITY).digest()
        for _ in range(50 if self.revision >= 3 else 0):
            hashed = hashlib.md5(hashed[:self.length]).digest()
        self.key = hashed[:self.length]
        self.entries.update(O=text(owner), U=text(self._user_entry()))

    def _user_entry(self):
        if self.revision == 2:
            return rc4(self.key, PADDING)
        entry = hashlib.md5(PADDING + IDENTITY).digest()
        for i in range(20):
            entry = rc4(bytes(byte ^ i for byte in self.key), entry)
        return entry + bytes(16)

    def _add_long_key(self):
        self.key = bytes(range(100, 132))
        make = simple_hash if self.revision == 5 else strong_hash
        check, wrap = b"checking", b"wrapping"
        permissions = (PERMISSIONS & 0xFFFFFFFF).to_bytes(4, "little") + b"\xff\xff\xff\xffTadbhost"
        self.entries.update(
            O=text(bytes(48)), OE=text(bytes(32)),
            U=text(make(b"", check) + check + wrap),
            UE=text(aes_cbc(make(b"", wrap), bytes(16), self.key)),
            Perms=text(aes_cbc(self.key, bytes(16), permissions)))

    def apply(self, data, number):
        """The data of a string or stream in object `number`, encrypted."""
        key = self.key
        if self.version < 5:
            salted = key + number.to_bytes(3, "little") + bytes(2) + (b"sAlT" if self.aes else b"")
            key = hashlib.md5(salted).digest()[:min(self.length + 5, 16)]
        return aes_string(key, data) if self.aes else rc4(key, data)

    def dictionary(self, **changes):
        """The encryption dictionary; a changed entry that is None is left out."""
        entries = {**self.entries, **changes}
        return "<<" + "".join(f"/{k} {v}" for k, v in entries.items() if v is not None) + ">>"


SCHEMES = {"rc4-40": Scheme(1, 2, 5), "rc4-128": Scheme(2, 3, 16), "v4-rc4": Scheme(4, 4, 16),
           "aes-128": Scheme(4, 4, 16, True), "aes-256-r5": Scheme(5, 5, 32, True),
           "aes-256": Scheme(5, 6, 32, True)}

def encrypted(pdf, scheme, dictionary=None, identity=None):
    """The document with its streams encrypted. It must hold no strings outside of those."""
    result = Pdf(pdf.version)
    result.seal = scheme.apply
    for number, body in pdf.objects.items():
        result.set(number, sealed(body, number, result.seal))
    own = result.size()
    result.set(own, scheme.dictionary() if dictionary is None else dictionary)
    identity = f"[{text(IDENTITY)}{text(IDENTITY)}]" if identity is None else identity
    result.trailer = f"{pdf.trailer}/Encrypt {own} 0 R" + (f"/ID {identity}" if identity else "")
    return result
