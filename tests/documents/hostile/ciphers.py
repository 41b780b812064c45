"""Families of documents that lie about how they are encrypted."""

from encryption import SCHEMES, encrypted, text
from family import NUMBERS, ODD_VALUES, family, numbered
from pdf import FREE, TEXT, document, stream

KEYS = ["V", "R", "Length", "P"]
TEXTS = ["O", "U", "OE", "UE", "Perms"]


def with_dictionary(scheme, **changes):
    return encrypted(document(), scheme, scheme.dictionary(**changes)).with_table()


@family
def encryption_numbers():
    for scheme_name in ["rc4-40", "rc4-128", "aes-128", "aes-256"]:
        scheme = SCHEMES[scheme_name]
        for name, value in numbered(NUMBERS + ODD_VALUES + ["2", "3", "5", "6", "7", "40", "48", "127", "1024", None]):
            for key in KEYS:
                yield f"{scheme_name}-{key}-{name}", with_dictionary(scheme, **{key: value})


@family
def encryption_texts():
    values = [None, "()", "<00>", "(" + "x" * 31 + ")", "(" + "x" * 47 + ")", "(" + "x" * 200_000 + ")",
              "<" + "00" * 32 + ">", "<" + "ff" * 48 + ">", "5", "null", "/Name", "[(x)]", f"{FREE} 0 R", "999 0 R"]
    for scheme_name in ["rc4-128", "aes-128", "aes-256-r5", "aes-256"]:
        scheme = SCHEMES[scheme_name]
        for name, value in numbered(values):
            for key in TEXTS:
                if key in scheme.entries:
                    yield f"{scheme_name}-{key}-{name}", with_dictionary(scheme, **{key: value})
            yield f"{scheme_name}-Filter-{name}", with_dictionary(scheme, Filter=value)
    for scheme_name, scheme in SCHEMES.items():
        for name, identity in numbered(["", "[]", "[()]", "()", "[1 2]", "null", "<<>>", "999 0 R",
                                        "[<00><00>]", "[(" + "x" * 100_000 + ")()]"]):
            yield f"{scheme_name}-ID-{name}", encrypted(document(), scheme, identity=identity).with_table()


@family
def crypt_filters():
    filters = [None, "null", "[]", "<<>>", "<</StdCF null>>", "<</StdCF 5>>", "<</Other<</CFM/V2>>>>",
               f"{FREE} 0 R", "<</StdCF 5 0 R>>", "<</StdCF<</CFM 5 0 R>>>>"]
    filters += [f"<</StdCF<</CFM {method}>>>>" for method in [
        "/None", "/V2", "/AESV2", "/AESV3", "/AESV9", "/Identity", "(V2)", "5", "null"]]
    filters += [f"<</StdCF<</CFM/AESV2/Length {length}>>>>" for length in NUMBERS]
    filters += [f"<</StdCF<</CFM/AESV2/AuthEvent {event}>>>>" for event in ["/EFOpen", "/Never", "5"]]
    for scheme_name in ["v4-rc4", "aes-128", "aes-256"]:
        scheme = SCHEMES[scheme_name]
        for name, value in numbered(filters):
            yield f"{scheme_name}-CF-{name}", with_dictionary(scheme, CF=value)
        for name, value in numbered([None, "/Identity", "/None", "/Nobody", "5", "[/StdCF]", "null", "5 0 R"]):
            for key in ["StmF", "StrF", "EFF"]:
                yield f"{scheme_name}-{key}-{name}", with_dictionary(scheme, **{key: value})
        for name, value in numbered(["false", "null", "5", "/No"]):
            yield f"{scheme_name}-EncryptMetadata-{name}", with_dictionary(scheme, EncryptMetadata=value)
        for name, value in numbered(["/Identity", "/StdCF", "/Nobody", "5", "null", "4 0 R"]):
            own = stream(TEXT, f"/Filter/Crypt/DecodeParms<</Name {value}>>")
            yield f"{scheme_name}-own-{name}", encrypted(document(own), scheme).with_table()


@family
def encrypted_data():
    """Data that no cipher has made, and dictionaries in places that they must not be in."""
    for scheme_name, scheme in SCHEMES.items():
        for size in [0, 1, 15, 16, 17, 31, 33]:
            pdf = encrypted(document(), scheme)
            yield f"{scheme_name}-{size}", pdf.set(4, stream(bytes(size))).with_table()
        titled = encrypted(document(), scheme)
        titled.trailer += "/Info 50 0 R"
        for name, value in numbered(["()", "(x)", text(bytes(16)), text(bytes(33)), "(" + "x" * 10_000 + ")"]):
            yield f"{scheme_name}-title-{name}", titled.set(50, f"<</Title{value}>>").with_table()
        whole = encrypted(document(), scheme)
        direct = encrypted(document(), scheme)
        direct.trailer = direct.trailer.replace("/Encrypt 5 0 R", "/Encrypt" + scheme.dictionary())
        yield f"{scheme_name}-direct", direct.with_table()
        yield f"{scheme_name}-in-streams", whole.with_stream((1, 2, 3, 5))
        yield f"{scheme_name}-self", whole.set(5, "5 0 R").with_table()
        yield f"{scheme_name}-stream", whole.set(5, stream("", scheme.dictionary()[2:-2])).with_table()
        yield f"{scheme_name}-catalog", whole.set(5, "<</Type/Catalog/Pages 2 0 R>>").with_table()
        yield f"{scheme_name}-array", whole.set(5, "[" + scheme.dictionary() + "]").with_table()
