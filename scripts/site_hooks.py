"""What the pages' Markdown has in another way than the site's reader of it."""

import re


def on_page_markdown(markdown, **_):
    """A bar inside code inside a table needs a backslash elsewhere, and shows it here."""
    def row(match):
        return re.sub(r"`[^`]*`", lambda code: code[0].replace("\\|", "|"), match[0])
    return re.sub(r"^\|.*$", row, markdown, flags=re.MULTILINE)


def on_files(files, **_):
    """What belongs to the pages of the API is no part of the guides."""
    for name in ("Doxyfile", "api.css"):
        files.remove(files.get_file_from_path(name))
    return files
