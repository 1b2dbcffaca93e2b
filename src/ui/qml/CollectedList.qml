// The list of what is collected, in one or two columns. The second column is set by runs of spaces, which
// line up in this typeface with this spacing.
import QtQuick
import Lumamon

BodyText {
    text: view.captureDetails
    lineHeight: 1.3
    wrapMode: Text.NoWrap
}
