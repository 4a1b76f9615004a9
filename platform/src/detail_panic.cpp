// placeholder, replaced by the platform implementation
