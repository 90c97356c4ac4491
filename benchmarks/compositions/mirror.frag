#version 330 core

in vec2 uv;
out vec4 pixel;

uniform sampler2D image;

void main() {
  pixel = texture(image, vec2(1.0 - uv.x, uv.y));
}
