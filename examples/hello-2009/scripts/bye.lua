-- A script that users of the device may read and change; it is not compiled.
print("Goodbye")
