#pragma once

class Ui_MainWindow;

/// Chooses fonts with which every fixed text of the form can be read whole.
void FitTexts(Ui_MainWindow& form);
