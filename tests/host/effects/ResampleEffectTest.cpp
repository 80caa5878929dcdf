// placeholder, not committed
