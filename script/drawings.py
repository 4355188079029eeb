"""Pictures that are drawn of boxes and arrows, light and dark. Used by script/pictures."""
import html
import pathlib
import re

STYLE = """<style>
  svg { --ink: #1d2433; --soft: #5c677a; --box: #ffffff; --frame: #f3f5f8; --line: #8792a5; --accent: #0b57a4; }
  @media (prefers-color-scheme: dark) {
    svg { --ink: #dfe4ee; --soft: #9aa5b8; --box: #1e242e; --frame: #181d25; --line: #6b778b; --accent: #7db7f5; }
  }
  text { fill: var(--ink); font: 14px system-ui, sans-serif; }
  .name { font: 600 14px ui-monospace, monospace; }
  .soft { fill: var(--soft); font-size: 12px; }
  .title { fill: var(--soft); font-weight: 600; font-size: 13px; }
  rect { fill: var(--box); stroke: var(--line); rx: 6px; }
  .frame { fill: var(--frame); stroke-dasharray: none; }
  .dashed { stroke-dasharray: 5 4; }
  path { fill: none; stroke: var(--line); stroke-width: 1.5; }
  .ask { stroke: var(--accent); stroke-dasharray: 5 4; }
  .word { fill: var(--accent); font-size: 12px; }
  .tip { fill: var(--line); stroke: none; }
  .asktip { fill: var(--accent); stroke: none; }
</style>
<defs>
  <marker id="tip" viewBox="0 0 10 10" refX="9" refY="5" markerWidth="8" markerHeight="8" orient="auto">
    <path class="tip" d="M0,1 L10,5 L0,9 z"/></marker>
  <marker id="asktip" viewBox="0 0 10 10" refX="9" refY="5" markerWidth="8" markerHeight="8" orient="auto">
    <path class="asktip" d="M0,1 L10,5 L0,9 z"/></marker>
</defs>"""


class Drawing:
    def __init__(self, width, height, title):
        self.head = (f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
                     f'viewBox="0 0 {width} {height}" role="img">\n<title>{html.escape(title)}</title>\n{STYLE}')
        self.below, self.above = [], []

    def box(self, place, name, words=(), kind="", code=True):
        """A box at (x, y, width, height) with its name and lines of words below it."""
        x, y, width, height = place
        self.above.append(f'<rect class="{kind}" x="{x}" y="{y}" width="{width}" height="{height}"/>')
        line = y + height / 2 - 8 * len(words) + 5
        for number, text in enumerate([name, *words]):
            style = "soft" if number else "name" if code else ""
            self.above.append(f'<text class="{style}" x="{x + width / 2:g}" y="{line + 16 * number:g}" '
                              f'text-anchor="middle">{html.escape(text)}</text>')

    def frame(self, place, title):
        x, y, width, height = place
        self.below.append(f'<rect class="frame" x="{x}" y="{y}" width="{width}" height="{height}"/>')
        self.below.append(f'<text class="title" x="{x + 12}" y="{y + 20}">{html.escape(title)}</text>')

    def words(self, x, y, text, style="soft", anchor="start"):
        self.above.append(f'<text class="{style}" x="{x}" y="{y}" text-anchor="{anchor}">{html.escape(text)}</text>')

    def arrow(self, steps, kind=""):
        tip = "asktip" if kind == "ask" else "tip"
        self.below.append(f'<path class="{kind}" d="{steps}" marker-end="url(#{tip})"/>')

    def text(self):
        return "\n".join([self.head, *self.below, *self.above, "</svg>", ""])


# Where each room stands, and what it is for. Rooms and their order are those of the build.
ROOMS = {
    "operators": ((270, 176, 250, 44), "the engine's own operators"),
    "txgeospatiallib": ((270, 246, 250, 44), "rasters, coordinate systems"),
    "txbasiclib": ((270, 316, 250, 44), "tables, matrices, colours, programs"),
    "batch": ((40, 386, 190, 44), "batch manager, shell"),
    "txlib": ((270, 386, 250, 44), "operators, ports, models, data"),
    "kprj": ((560, 386, 180, 44), "the projection library"),
    "jsonlib": ((40, 456, 190, 44), "JSON"),
    "plugin": ((270, 456, 250, 44), "how plug-ins are found"),
    "referencing": ((560, 456, 180, 44), "interfaces of systems"),
    "kcommon": ((40, 526, 700, 44), "text, file names, files, preferences, layers of elements"),
    "korvenlog": ((40, 596, 700, 44), "exceptions and log channels"),
}


def rooms_of_the_build(root):
    """Room to the rooms that it uses, without those that these use themselves."""
    text = (pathlib.Path(root) / "CMakeLists.txt").read_text(encoding="utf-8")
    uses = {}
    for name, words in re.findall(r"^tessera_room\((\w+)([^)]*)\)", text, re.MULTILINE):
        used = re.search(r"USES ([a-z ]*[a-z])", words)
        uses[name] = used[1].split() if used else []
    if set(uses) != set(ROOMS):
        raise SystemExit(f"error: script/drawings.py has no place for the rooms {sorted(set(uses) ^ set(ROOMS))}")

    def reached(name):
        return {name}.union(*(reached(used) for used in uses[name]))
    return {name: [used for used in names if not any(used in reached(other) for other in names if other != used)]
            for name, names in uses.items()}


def architecture(root):
    picture = Drawing(920, 660, "The rooms of the house: a room uses those that its arrows lead to")
    picture.frame((20, 14, 740, 106), "Programs and plug-ins")
    for x, name, words in ((40, "tessera", "command line"), (180, "batchprocess.exe", "batch manager"),
                           (340, "comspec", "command shell"), (470, "tx_general", "operator library"),
                           (610, "your own", "program, plug-in")):
        picture.box((x, 44, 120 if x != 180 else 150, 56), name, [words], "dashed" if name == "your own" else "",
                    name != "your own")
    picture.frame((20, 144, 740, 506), "libtessera.so")
    picture.arrow("M390,120 L390,143")
    picture.words(400, 137, "interfaces/")
    for name, (place, words) in ROOMS.items():
        picture.box(place, name, [words])
    for name, used in rooms_of_the_build(root).items():
        x, y, width, height = ROOMS[name][0]
        for other in used:
            left, top, across, _ = ROOMS[other][0]
            # Straight down where the boxes lie above one another.
            low, high = max(x, left), min(x + width, left + across)
            if low < high:
                picture.arrow(f"M{(low + high) / 2:g},{y + height} L{(low + high) / 2:g},{top}")
            elif left > x:
                picture.arrow(f"M{x + width},{y + height // 2} L{left + across // 2},{top}")
            else:
                picture.arrow(f"M{x + 0.15 * width:g},{y + height} L{left + 0.85 * across:g},{top}")
    for y, name, words in ((176, "gdal", "module: GDAL"), (386, "proj", "module: PROJ")):
        picture.box((790, y, 110, 44), name, [words], "dashed")
    picture.arrow("M520,198 L789,198", "dashed")
    picture.arrow("M740,408 L789,408", "dashed")
    picture.words(790, 238, "loaded on")
    picture.words(790, 254, "first need")
    return picture.text()


def data_flow(_):
    picture = Drawing(920, 440, "From a document to its outputs")
    steps = ((20, "document", "a .tsmx file"), (330, "operators", "and connections"), (640, "model", "ready to run"))
    for x, name, words in steps:
        picture.box((x, 20, 190, 56), name, [words], code=False)
    picture.arrow("M210,48 L329,48")
    picture.words(270, 40, "parse", anchor="middle")
    picture.arrow("M520,48 L639,48")
    picture.words(580, 40, "check", anchor="middle")
    picture.words(580, 68, "all faults at once", anchor="middle")
    picture.frame((20, 120, 880, 220), "Execute")
    picture.arrow("M735,76 L735,119")
    places = [40, 255, 470, 685]
    for x, (name, words) in zip(places, (("Text File Input", "reads the file"), ("Regular Expression Search", "finds a year"),
                                         ("If Else", "takes the year, or a word"), ("Report", "the tail: feeds nobody"))):
        picture.box((x, 196, 195, 56), name, [words], code=False)
    for left, right in zip(places, places[1:]):
        picture.arrow(f"M{right + 60},196 C{right + 40},160 {left + 155},160 {left + 135},195", "ask")
        picture.arrow(f"M{left + 135},252 C{left + 155},288 {right + 40},288 {right + 60},253")
    picture.words(460, 160, "1  needs what feeds it: its parents are executed first", "word", "middle")
    picture.words(460, 304, "2  reads inputs, computes, writes outputs; data is shared, and converted where an input wants another type",
                  anchor="middle")
    picture.words(460, 326, "what has run is not run again until an input changes", anchor="middle")
    picture.box((40, 372, 410, 48), "messages, progress, failures", ["to the model, and from there to the program"], code=False)
    picture.arrow("M245,340 L245,371")
    picture.box((490, 372, 390, 48), "outputs", ["read whole, or pulled for one part"], code=False)
    picture.arrow("M685,340 L685,371")
    return picture.text()
