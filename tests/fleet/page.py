"""A page as a browser takes it: its elements and its text, by a parser."""

from html.parser import HTMLParser


class Page(HTMLParser):
    """The tables of a page, and which elements and attributes there are at all."""

    def __init__(self, text):
        super().__init__(convert_charrefs=True)
        self.elements = set()
        self.attributes = set()
        self._rows = []
        self._cell = None
        self.feed(text)
        self.close()

    def handle_starttag(self, tag, attrs):
        self.elements.add(tag)
        self.attributes.update((tag, name) for name, _ in attrs)
        if tag == "tr":
            self._rows.append([])
        elif tag == "td":
            self._cell = ""
        elif tag == "br" and self._cell is not None:
            self._cell += "\n"

    def handle_endtag(self, tag):
        if tag == "td":
            self._rows[-1].append(self._cell)
            self._cell = None

    def handle_data(self, data):
        if self._cell is not None:
            self._cell += data

    def rows(self, cells):
        """The texts of the rows that have so many cells."""
        return [row for row in self._rows if len(row) == cells]
