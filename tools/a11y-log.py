#!/usr/bin/python3
"""Reads Corvane's log pane as a screen reader does, over AT-SPI.
Usage (an X display and an accessibility bus must be up, corvane started with
QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1): /usr/bin/python3 tools/a11y-log.py
Presses Start through AT-SPI, waits for the run, then prints the text of the log pane, its caret
and its selection, selects a word through AT-SPI and reads the selection back. Exit 0 when the
pane read back what the run put there."""
import sys, time
import pyatspi


def walk(node, depth=0):
    yield node
    for i in range(node.childCount):
        child = node.getChildAtIndex(i)
        if child is not None:
            yield from walk(child, depth + 1)


def find_app():
    desktop = pyatspi.Registry.getDesktop(0)
    for _ in range(100):
        for i in range(desktop.childCount):
            app = desktop.getChildAtIndex(i)
            if app is not None and "corvane" in (app.name or "").lower():
                return app
        time.sleep(0.1)
    return None


def texts(app):
    for node in walk(app):
        try:
            yield node, node.queryText()
        except NotImplementedError:
            continue


def main():
    app = find_app()
    if app is None:
        print("corvane is not on the accessibility bus")
        return 1
    start = next((n for n in walk(app) if n.getRoleName() == "push button" and n.name == "Start"), None)
    if start is None:
        print("no Start button")
        return 1
    start.queryAction().doAction(0)
    log = None
    for _ in range(100):
        time.sleep(0.1)
        log = next(((n, t) for n, t in texts(app) if t.getText(0, -1).startswith("Wait....")), None)
        if log and len(log[1].getText(0, -1)) > len("Wait...."):
            break
    if log is None:
        print("no text holds the run's log")
        return 1
    node, text = log
    content = text.getText(0, -1)
    states = node.getState()
    print("role:", node.getRoleName(), "| multi-line:", states.contains(pyatspi.STATE_MULTI_LINE),
          "| editable:", states.contains(pyatspi.STATE_EDITABLE))
    print("characters:", text.characterCount, "| caret at:", text.caretOffset, "| selections:", text.getNSelections())
    print("text:", repr(content))
    end = content.find(" ", len("Wait...."))
    end = end if end > 0 else len(content)
    text.addSelection(0, end)
    time.sleep(0.3)
    print("selection set through AT-SPI:", text.getSelection(0), repr(text.getText(*text.getSelection(0))))
    text.setCaretOffset(3)
    time.sleep(0.3)
    print("caret moved through AT-SPI to:", text.caretOffset)
    return 0 if text.characterCount == len(content) and text.caretOffset == 3 else 1


if __name__ == "__main__":
    sys.exit(main())
