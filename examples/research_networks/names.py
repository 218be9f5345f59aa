"""Names as the database takes them: 51 bytes of code page 1251, unique whatever their case."""

import unicodedata

NAME_BYTES = 51

# Letters that do not come apart into a base letter and a mark.
LETTERS = {"Ł": "L", "ł": "l", "Ø": "O", "ø": "o", "Đ": "D", "đ": "d", "ı": "i", "ß": "ss",
           "Æ": "AE", "æ": "ae", "Œ": "OE", "œ": "oe", "Þ": "Th", "þ": "th"}


def to_code_page(text):
    """The text with what code page 1251 lacks replaced by base letters or a question mark."""
    kept = []
    for character in unicodedata.normalize("NFC", text):
        if character.encode("cp1251", "ignore"):
            kept.append(character)
            continue
        if character in LETTERS:
            kept.append(LETTERS[character])
            continue
        base = unicodedata.normalize("NFKD", character).encode("cp1251", "ignore")
        kept.append(base.decode("cp1251") or "?")
    return "".join(c if c.isprintable() else " " for c in kept).strip()


def cut_name(name, suffix="", limit=NAME_BYTES):
    room = limit - len(suffix.encode("cp1251"))
    return name.encode("cp1251")[:room].decode("cp1251").rstrip() + suffix


def claim_name(name, suffix, taken, limit=NAME_BYTES):
    """A name that is not taken yet, with a number before the suffix where it is; takes it."""
    claimed, number = cut_name(name, suffix, limit), 1
    while claimed.lower() in taken:
        number += 1
        claimed = cut_name(name, f" {number}{suffix}", limit)
    taken.add(claimed.lower())
    return claimed
