// The yardstick of the window's start: a window of Qt Quick with one line of text, drawn by the same backend.
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickWindow>

int main(int argumentCount, char **arguments) {
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    const QGuiApplication application(argumentCount, arguments);
    QQmlApplicationEngine engine;
    engine.loadData(
        "import QtQuick\n"
        "Window { visible: true; width: 680; height: 756; color: \"white\"; Text { text: \"Bare\" } }");
    return QGuiApplication::exec();
}
