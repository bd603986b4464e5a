// placeholder until the module entry lands
