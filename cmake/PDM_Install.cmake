# Install and export; filled with the package.
