import QtQuick 2.9
Item {}
