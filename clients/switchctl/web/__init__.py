"""switchctl web: a page to look at a switch."""
