def add():
    pass
