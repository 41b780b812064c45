"""Families of every odd byte: in names within documents, in their information, and in files' names."""

from family import family, numbered
from pdf import FREE, document, write

SOUND_FOR_ALL = write()


@family
def names_within():
    for byte in range(256):
        odd = f"#{byte:02x}"
        for name, byte_in_name in [("written", odd), ("plain", chr(byte))][:2 if byte < 0x30 else 1]:
            yield f"{name}-{byte:03}", write(
                f"BT /F{byte_in_name} 18 Tf 20 150 Td (Odd) Tj ET",
                f"/Font<</F{byte_in_name}<</Type/Font/Subtype/Type1/BaseFont/A{byte_in_name}B>>>>",
                catalog=f"/K{odd} /V{odd}")


@family
def information():
    values = ["()", "(a\\nb)", "(\\033[31mred\\007)", "<00>", "<0000>", "<FEFF>", "<FEFFD800>", "<FEFFDC00D800>",
              "<FEFF00>", "<FFFE4100>", "<EFBBBF>", "<EFBBBFFF>", "<EFBBBFC080>", "(\\200\\377)", "(\\",
              "(x\\n  Encryption:    none)", "<FEFF202E0041>", "5", "null", "/Name", "[(x)]", f"{FREE} 0 R",
              "(" + "x" * 200_000 + ")", "<FEFF" + "0001" * 100_000 + ">"]
    def titled(value, key="Title"):
        pdf = document()
        pdf.trailer = f"/Info {FREE} 0 R"
        return pdf.set(FREE, f"<</{key} {value}>>")
    for name, value in numbered(values):
        yield f"title-{name}", titled(value).with_table()
        yield f"date-{name}", titled(value, "CreationDate").with_table()
    for megabytes in [3, 10]:
        long = titled("(" + "x" * (megabytes << 20) + ")")
        yield f"long-{megabytes}", long.with_stream((FREE,))
        yield f"control-{megabytes}", titled("(" + "\x01" * (megabytes << 20) + ")").with_stream((FREE,))
    keys = ["Title", "Author", "Subject", "Keywords", "Creator", "Producer", "CreationDate", "ModDate"]
    many = "".join(f"/{key}({'x' * 900_000})" for key in keys)
    yield "long-all", titled("()", "X()" + many + "/Y").with_stream((FREE,))


ODD_BYTES = [byte for byte in range(1, 256) if not chr(byte).isalnum() or byte > 127]
ODD_NAMES = [bytes([byte]) for byte in ODD_BYTES if byte != 0x2F]
ODD_NAMES += [b"%d", b"%s", b"%%", b"%03d%", b"..", b"(2)", b"  x  ", b"a.pdf", b"-o", b"\xc3\xa9",
              b"\xe2\x82\xac", b"\xf0\x9f\x98\x80", b"\xc0\x80", b"\xed\xa0\x80", b"\xf4\x90\x80\x80", b"\xef\xbf\xbe",
              b"\xef\xbf\xbd", b"\xef\xbb\xbf", b"\xe2\x80\xae", b"\xcc\x81", b"e\xcc\x81", 
              b"$(touch owned)", b"`id`", b"'\"", b"*?[", b"x" * 200, b"x" * 230, b"\xc3\xa9" * 110]


@family
def odd_file_names():
    """Sound ones; those whose names are no UTF-8 have to be refused, with a name that can be read."""
    for name in ODD_NAMES:
        yield name, SOUND_FOR_ALL
