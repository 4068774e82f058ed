import QtQuick

// Being written.
Item {}
