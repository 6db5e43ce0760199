#pragma once

#include <QMainWindow>

class QLabel;

/**
 * The window the application opens at start-up until note windows take its
 * place: the application's name and where its data folder is.
 */
class StartWindow final : public QMainWindow
{
    Q_OBJECT
public:
    explicit StartWindow(QWidget *parent = nullptr);

private:
    QLabel *m_folderLabel = nullptr;
};
