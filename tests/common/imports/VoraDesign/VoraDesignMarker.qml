import QtQuick 2.0

// The tests' stand-in for the host's VoraDesign module: the config editor
// page imports it but uses none of its types, so it only has to resolve.
QtObject {}
