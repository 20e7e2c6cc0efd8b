# Action editor (the windows of the edit dialog).
