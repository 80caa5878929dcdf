# install rules
